// The address in a mail's From header.
#pragma once

#include "common/text.h"

namespace pm {

// Reads the configured sender address. Empty if it is not set or cannot be read.
void getSenderEmail(Text<255>& szSenderEmail);

} // namespace pm
