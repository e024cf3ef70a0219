// Restart of the sibling service.
#pragma once

namespace pm {

// Asks the service that has "teshServiceRequest" to restart the sibling service, and runs
// the direct command if that fails.
void processQelctlConfigChangedEvent();

} // namespace pm
