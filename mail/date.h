// The value of a mail's Date header.
#pragma once

#include "common/text.h"

namespace pm {

// Writes the current local time as in RFC 5322, section 3.3. Empty if it is unknown.
void formatDate(Text<32>& szDate);

} // namespace pm
