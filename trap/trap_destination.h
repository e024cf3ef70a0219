// Where a trap goes: community, port and peer of a trap destination.
#pragma once

#include <cstdint>

#include "common/text.h"
#include "platform/ipmi.h"

namespace pm {

inline constexpr int32_t DEFAULT_TRAP_PORT = 162; // RFC 3417 3.1

enum class TrapDestinationType : uint8_t { IPv6, IPv4, FQDN };

using Community = Text<IPMI_COMMUNITY_SIZE + 1>;

// All of these return false after a line where there is nothing of use.
bool getSNMPCommunityName(Community& community);
bool getSNMPTrapPort(int32_t& port);
bool getSNMPTrapDestination(int32_t index, Text<256>& destination);

// By the text alone: any colon makes it IPv6.
TrapDestinationType getSNMPTrapDestinationType(const char* destination);

// True when the controller's network has IPv6 alone.
bool IsNorvuIPv6only();

} // namespace pm
