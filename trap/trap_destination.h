// Community, port and address of a trap destination.
#pragma once

#include <cstdint>

#include "common/text.h"
#include "platform/ipmi.h"

namespace pm {

inline constexpr int32_t DEFAULT_TRAP_PORT = 162; // RFC 3417 3.1

enum class TrapDestinationType : uint8_t { IPv6, IPv4, FQDN };

using Community = Text<IPMI_COMMUNITY_SIZE + 1>;

// Each returns false, and logs why, if its value cannot be read or is not valid.
bool getSNMPCommunityName(Community& community);
bool getSNMPTrapPort(int32_t& port);
bool getSNMPTrapDestination(int32_t index, Text<256>& destination);

// Judges by the text alone: one with a colon is an IPv6 address.
TrapDestinationType getSNMPTrapDestinationType(const char* destination);

// True if IPv4 is disabled on the controller and IPv6 enabled.
bool IsNorvuIPv6only();

} // namespace pm
