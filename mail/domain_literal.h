// The controller's own address, for mails of a controller without a domain name.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

inline constexpr int32_t LITERAL_IPV4 = 1;
inline constexpr int32_t LITERAL_IPV6 = 2;
inline constexpr int32_t LITERAL_FAILED = -1;

// Writes the controller's own address as a domain literal (RFC 5321, section 4.1.3,
// without brackets). Takes the first family, IPv4 then IPv6, that is enabled and of which
// the server has an address. Returns LITERAL_IPV4, LITERAL_IPV6, or LITERAL_FAILED with
// szDomainLiteral empty.
int32_t getDomainLiteral(Text<255>& szDomainLiteral, const char* szServerAddress);

} // namespace pm
