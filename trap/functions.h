// Handlers of the trap functions. Each takes an IndexRequest of common/records.h:
// the trap destination's index, 1 to 8.
#pragma once

#include <cstdint>

namespace pm {

// Statuses of sendTestTrap.
inline constexpr int32_t SENDTESTTRAP_STATUS_INVALID_PARAMETER = 1;
inline constexpr int32_t SENDTESTTRAP_STATUS_NOT_SENT = 2;

extern "C" {

// Sends a Platform Event Trap by running snmptrap. 0 means that the command was
// started, not what came of it.
int32_t sendIPMITestTrap(uint32_t request_size, void* request_data);

// Asks the log-manager service for a test trap to an enabled destination. 0 means
// that the service was asked, not what it replied.
int32_t sendSNMPTestTrap(uint32_t request_size, void* request_data);

// The front of sendSNMPTestTrap, with the statuses above.
int32_t sendTestTrap(uint32_t request_size, void* request_data);

} // extern "C"

} // namespace pm
