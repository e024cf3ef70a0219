// Platform Event Trap data (IPMI Platform Event Trap Format 1.0).
#pragma once

#include <cstddef>
#include <cstdint>

namespace pm {

// Memory is exhausted (an SM status).
inline constexpr int32_t PET_NO_MEMORY = 272;

// Builds the data of a test event. *length is its size in bytes; the caller releases
// *string with free. A GUID or time that cannot be read is zero, a missing host name is
// omitted. Returns 0, or PET_NO_MEMORY with *string null and *length 0.
int32_t petConstructVarBind(uint8_t** string, uint32_t* length);

} // namespace pm
