// Port numbers of TCP and UDP (RFC 6335, section 6).
#pragma once

#include <cstdint>

namespace pm {

constexpr bool isPort(int32_t number) {
    return number >= 1 && number <= 65535;
}

} // namespace pm
