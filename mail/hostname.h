// The host part of the controller's identity in mails.
#pragma once

#include "common/text.h"

namespace pm {

// Writes the configured name, else "norvu" and the chassis code. Never fails.
void GetHostname(Text<255>& szHostname);

} // namespace pm
