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

// Runs snmptrap for the trap destination. Returns 0 once the command was run, even if it
// failed; VESK_ERROR_GENERAL if a value is missing or not safe on a command line.
int32_t sendTrap(int32_t index, const VarBindText& varBind);

} // namespace pm
