// The identity of one attempt at one mail.
#pragma once

#include <cstdint>

#include "common/text.h"

struct Sender;

struct EmailEndpoint {
    Text<255> szServerAddress; // as configured; set before the endpoint is gathered
    Text<255> szDomainLiteral; // the controller's own address
    int32_t nLiteralKind = 0;  // LITERAL_IPV4 or LITERAL_IPV6
    Text<255> szDomainName;    // the system's, or szDomainLiteral where it has none
    bool bDomainNameFromSystem = false;
    Text<255> szWebAddress; // the controller's address as a link has it
    Text<255> szHostname;   // host part of the identity
};

// Fills all but the server address, for the sender's row (what it logs, and
// whether the host name comes later). Returns 0, or the negative result of
// getDomainLiteral.
int32_t gatherEmailEndpoint(EmailEndpoint& endpoint, const Sender& sender);
