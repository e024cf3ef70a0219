// The request of the trap functions: an IndexRequest of common/records.h.
#pragma once

#include <cstdint>

namespace pm {

inline constexpr int32_t TRAP_DESTINATIONS = 8;

// Takes the index, 1 to 8, from the request's first byte. Returns false after a line
// under the operation's name if there is no such byte or its value is out of range.
bool takeTrapIndex(const char* operation, uint32_t request_size, const void* request_data,
                   int32_t& index);

} // namespace pm
