// The bus road of the test trap.
#pragma once

#include <cstdint>

namespace pm {

// Calls TestSNMPTrap of the log-manager service. Returns the number that it
// replied, 256 if the call can't be made up, -1 for any other failure.
int32_t SnmpTestTrapSubmitEvent(uint32_t index);

} // namespace pm
