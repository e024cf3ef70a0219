// Restart of the sibling service, qelctl_ipmiextd.
#pragma once

namespace pm {

// Restarts it through another service's function "teshServiceRequest", or with systemctl
// if that call fails.
void processQelctlConfigChangedEvent();

} // namespace pm
