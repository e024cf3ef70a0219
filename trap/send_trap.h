// Sends a trap with snmptrap.
#pragma once

#include <cstdint>

#include "trap/ipmi_test_trap.h"

namespace pm {

// Runs snmptrap for the trap destination. Returns 0 once the command was run, even if it
// failed; VESK_ERROR_GENERAL if a value is missing or not safe on a command line.
int32_t sendTrap(int32_t index, const VarBindText& varBind);

} // namespace pm
