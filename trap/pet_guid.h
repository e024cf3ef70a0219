// The system's GUID as a trap carries it.
#pragma once

#include <cstdint>

namespace pm {

// Fills the 16 bytes from the text form, group by group in the order of the text.
// Returns false if there is no text of 36 characters.
bool petGetGUID(uint8_t (&guid)[16]);

} // namespace pm
