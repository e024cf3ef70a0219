// State of a setting or attribute that turns something on or off.
#pragma once

#include <cstdint>

namespace pm {

enum class SwitchState : uint8_t { Unreadable, Off, On };

} // namespace pm
