// Steps of the IPMI test trap.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

using VarBindText = Text<512>;

// Size in bytes of the text for length data bytes, terminator included.
uint64_t varBindTextSize(uint32_t length);

// Writes the trap's variable binding as arguments of snmptrap: OID, type, and the data in
// quotes as hexadecimal digits. False if there is no data or the text does not fit.
bool composeVarBindText(VarBindText& text, const uint8_t* string, uint32_t length);

} // namespace pm
