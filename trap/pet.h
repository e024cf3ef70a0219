// Platform Event Trap data, as the IPMI Platform Event Trap Format 1.0 has it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pm {

// The heap is exhausted, as an SM status.
inline constexpr int32_t PET_NO_MEMORY = 272;

// Builds the string of a test event with the system's identity at this moment.
// *string then belongs to the caller, who releases it with free; *length is its
// bytes. Returns 0, or PET_NO_MEMORY with null and 0. What can't be learned of
// the system is zero or left out.
int32_t petConstructVarBind(uint8_t** string, uint32_t* length);

} // namespace pm
