#include "mail/endpoint.h"

#include <sys/types.h>

#include "mail/domain_literal.h"
#include "mail/domain_name.h"
#include "mail/hostname.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr size_t IPV6_PREFIX_LENGTH = 5; // "IPv6:"

void chooseDomainName(EmailEndpoint& endpoint, const EndpointSteps& steps) {
    readDomainName(endpoint.szDomainName);
    if (steps.domainLog == DomainLog::NameRead)
        PM_LOG_AS(steps.sender, "domainname: %s strlen(szDomainName):%zd\n",
                  endpoint.szDomainName.c_str(),
                  static_cast<ssize_t>(endpoint.szDomainName.length()));
    endpoint.bDomainNameFromSystem = !isNoDomainName(endpoint.szDomainName);
    if (endpoint.bDomainNameFromSystem)
        return;
    if (steps.domainLog == DomainLog::LiteralTaken)
        PM_LOG_AS(
            steps.sender,
            "getdomainname() returned zero length or \"(none)\", using szDomainLiteral for szDomainName\n");
    endpoint.szDomainName.assign(endpoint.szDomainLiteral.view());
}

} // namespace

int32_t gatherEmailEndpoint(EmailEndpoint& endpoint, const EndpointSteps& steps) {
    endpoint.szDomainName.clear();
    endpoint.szDomainLiteral.clear();
    endpoint.szWebAddress.clear();
    endpoint.nLiteralKind =
        getDomainLiteral(endpoint.szDomainLiteral, endpoint.szServerAddress.c_str());
    if (endpoint.nLiteralKind < 0)
        return endpoint.nLiteralKind;
    chooseDomainName(endpoint, steps);
    if (endpoint.nLiteralKind == LITERAL_IPV4)
        endpoint.szWebAddress.format("%s", endpoint.szDomainLiteral.c_str());
    else
        endpoint.szWebAddress.format("[%s]", endpoint.szDomainLiteral.c_str() + IPV6_PREFIX_LENGTH);
    endpoint.szHostname.clear();
    if (steps.hostname == Hostname::Now)
        GetHostname(endpoint.szHostname);
    return 0;
}

} // namespace pm
