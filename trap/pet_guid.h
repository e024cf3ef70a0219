// The system's GUID in a trap.
#pragma once

#include <cstdint>

namespace pm {

// Reads the system's GUID into 16 bytes, in the order of its text form. False if it is
// missing or its text does not have 36 characters.
bool petGetGUID(uint8_t (&guid)[16]);

} // namespace pm
