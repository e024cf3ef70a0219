// The request of the trap functions: an IndexRequest of common/records.h.
#pragma once

#include <cstdint>

namespace pm {

inline constexpr int32_t TRAP_DESTINATIONS = 8;

// Reads the index, 1 to 8, from the request's first byte. If that is missing or out of
// range, logs it under the operation's name and returns false.
bool takeTrapIndex(const char* operation, uint32_t request_size, const void* request_data,
                   int32_t& index);

} // namespace pm
