// The controller's own address, in place of a domain name.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

inline constexpr int32_t LITERAL_IPV4 = 1;
inline constexpr int32_t LITERAL_IPV6 = 2;
inline constexpr int32_t LITERAL_FAILED = -1;

// Writes the controller's own address as a domain literal (RFC 5321 4.1.3, without
// brackets), in the first enabled family in which the server has an address, IPv4
// first. Returns LITERAL_IPV4, LITERAL_IPV6, or LITERAL_FAILED with the output all zero.
int32_t getDomainLiteral(Text<255>& szDomainLiteral, const char* szServerAddress);

} // namespace pm
