// Steps of the IPMI test trap.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

using VarBindText = Text<512>;

// Bytes of the text of a string of length bytes, with its terminator.
uint64_t varBindTextSize(uint32_t length);

// Writes the variable binding as snmptrap takes it: OID, type, and the string in
// quotes as hexadecimal digits. False if it does not fit, or is empty.
bool composeVarBindText(VarBindText& text, const uint8_t* string, uint32_t length);

// Runs snmptrap for the trap destination. Returns 0 once the command has been
// handed to the runner, whatever came of it, or VESK_ERROR_GENERAL.
int32_t sendTrap(int32_t index, const VarBindText& varBind);

} // namespace pm
