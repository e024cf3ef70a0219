// Who a mail comes from: helpers that work the sender's identity out anew for
// each attempt, from the configuration, the name service and the hardware.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

inline constexpr int32_t LITERAL_IPV4 = 1;
inline constexpr int32_t LITERAL_IPV6 = 2;
inline constexpr int32_t LITERAL_FAILED = -1;

// Removes leading spaces and tabs, then one trailing dot, in place.
void trimDomainName(char* text);

// Writes the controller's own address as a domain literal (RFC 5321 4.1.3,
// without brackets), in the first enabled family in which the server has an
// address, IPv4 first. Returns LITERAL_IPV4, LITERAL_IPV6, or LITERAL_FAILED
// with the output all zero.
int32_t getDomainLiteral(Text<255>& szDomainLiteral, const char* szServerAddress);

// The host part of the identity: the configured name, else "norvu" and the
// chassis code. Never fails.
void GetHostname(Text<255>& szHostname);

// The configured sender address; empty if it is unreadable or unset.
void getSenderEmail(Text<255>& szSenderEmail);

// Reads the system's domain name, trimmed; empty if it can't be read.
void readDomainName(Text<255>& szDomainName);

// True for a domain name that says nothing: empty, or "(none)".
bool isNoDomainName(const Text<255>& szDomainName);

// The current local time as a mail's Date value (RFC 5322 3.3); empty if it
// can't be had.
void formatDate(Text<32>& szDate);

} // namespace pm
