// Status values of pm's operations: signed 32-bit, 0 for success.
#pragma once

#include <cstdint>

namespace pm {

inline constexpr int32_t VESK_ERROR_GENERAL = -1;
inline constexpr int32_t VESK_ERROR_INVALID_PARAMETER = -3;
// A body buffer cannot be allocated. The platform has no name for this value.
inline constexpr int32_t PM_ERROR_NO_BODY_BUFFER = -9;
inline constexpr int32_t VESK_ERROR_FILE_ACCESS_FAIL = -17;

// Only bit 0 of a settings call's result and of a stored boolean has a meaning.
inline constexpr bool bit0(unsigned value) {
    return (value & 1U) != 0;
}

} // namespace pm
