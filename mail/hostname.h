// The controller's host name in mails.
#pragma once

#include "common/text.h"

namespace pm {

// Writes the configured name. Without one, "norvu-" and the chassis code, or "norvu".
void GetHostname(Text<255>& szHostname);

} // namespace pm
