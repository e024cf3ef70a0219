// The address in a mail's From line.
#pragma once

#include "common/text.h"

namespace pm {

// Reads the configured sender address; empty if it is unreadable or unset.
void getSenderEmail(Text<255>& szSenderEmail);

} // namespace pm
