// The identity of one attempt at one mail.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

struct EmailEndpoint {
    Text<255> szServerAddress; // as configured; set before the endpoint is gathered
    Text<255> szDomainLiteral; // the controller's own address
    int32_t nLiteralKind = 0;  // LITERAL_IPV4 or LITERAL_IPV6
    Text<255> szDomainName;    // the system's, or szDomainLiteral where it has none
    bool bDomainNameFromSystem = false;
    Text<255> szWebAddress; // the controller's address as a link has it
    Text<255> szHostname;   // host part of the identity
};

enum class DomainLog : uint8_t { NameRead, LiteralTaken }; // which of the two is logged
enum class Hostname : uint8_t { Now, Later };

// How the senders differ in gathering the endpoint.
struct EndpointSteps {
    const char* sender; // operation name, in its log lines
    DomainLog domainLog = DomainLog::NameRead;
    Hostname hostname = Hostname::Now; // Later: the sender calls GetHostname itself
};

// Fills all but the server address. Returns 0, or the negative result of
// getDomainLiteral.
int32_t gatherEmailEndpoint(EmailEndpoint& endpoint, const EndpointSteps& steps);

} // namespace pm
