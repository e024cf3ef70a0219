// Names and addresses of the controller for one attempt at a mail.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

struct EmailEndpoint {
    Text<255> szServerAddress; // as configured; set by the caller
    Text<255> szDomainLiteral; // the controller's own address
    int32_t nLiteralKind = 0;  // LITERAL_IPV4 or LITERAL_IPV6
    Text<255> szDomainName;    // the system's; without one, szDomainLiteral
    bool bDomainNameFromSystem = false;
    Text<255> szWebAddress; // the controller's address for links
    Text<255> szHostname;   // the controller's host name
};

enum class DomainLog : uint8_t { NameRead, LiteralTaken }; // what is logged about the domain name
enum class Hostname : uint8_t { Now, Later };

// Options in which the senders differ.
struct EndpointSteps {
    const char* sender; // operation name in log lines
    DomainLog domainLog = DomainLog::NameRead;
    Hostname hostname = Hostname::Now; // Later: the sender calls GetHostname itself
};

// Fills all members; szServerAddress has to be set. Returns 0, or the negative result of
// getDomainLiteral.
int32_t gatherEmailEndpoint(EmailEndpoint& endpoint, const EndpointSteps& steps);

} // namespace pm
