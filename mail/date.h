// The value of a mail's Date line.
#pragma once

#include "common/text.h"

namespace pm {

// Writes the current local time as RFC 5322 3.3 has it; empty if it is unknown.
void formatDate(Text<32>& szDate);

} // namespace pm
