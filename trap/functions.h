// Handlers of the trap functions. Each takes the request's size in bytes and an
// IndexRequest (common/records.h) with the trap destination's index, 1 to 8. Returns 0,
// VESK_ERROR_INVALID_PARAMETER or VESK_ERROR_GENERAL, if not said otherwise.
#pragma once

#include <cstdint>

namespace pm {

// Statuses of sendTestTrap.
inline constexpr int32_t SENDTESTTRAP_STATUS_INVALID_PARAMETER = 1;
inline constexpr int32_t SENDTESTTRAP_STATUS_NOT_SENT = 2;

extern "C" {

// Sends a Platform Event Trap with snmptrap. Returns 0 once snmptrap was run, even if the
// command failed.
int32_t sendIPMITestTrap(uint32_t request_size, void* request_data);

// Asks the log-manager service over D-Bus to send a test trap. Fails only for an invalid
// request or a disabled destination: the service's reply is logged and ignored.
int32_t sendSNMPTestTrap(uint32_t request_size, void* request_data);

// Calls sendSNMPTestTrap, and returns 0 or one of the statuses above.
int32_t sendTestTrap(uint32_t request_size, void* request_data);

} // extern "C"

} // namespace pm
