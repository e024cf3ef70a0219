#include "mail/endpoint.h"

#include <sys/types.h>

#include "mail/identity.h"
#include "mail/senders.h"
#include "platform/logging.h"

namespace {

constexpr size_t IPV6_PREFIX_LENGTH = 5; // "IPv6:"

void chooseDomainName(EmailEndpoint& endpoint, const Sender& sender) {
    readDomainName(endpoint.szDomainName);
    if (sender.logsDomainName)
        PM_LOG_AS(sender.name, "[%d]: %s() - domainname: %s strlen(szDomainName):%zd\n",
                  endpoint.szDomainName.c_str(),
                  static_cast<ssize_t>(endpoint.szDomainName.length()));
    endpoint.bDomainNameFromSystem = !isNoDomainName(endpoint.szDomainName);
    if (endpoint.bDomainNameFromSystem)
        return;
    if (sender.logsDomainFallback)
        PM_LOG_AS(sender.name, "[%d]: %s() - getdomainname() returned zero length or \"(none)\", "
                               "using szDomainLiteral for szDomainName\n");
    endpoint.szDomainName.assign(endpoint.szDomainLiteral.view());
}

} // namespace

int32_t gatherEmailEndpoint(EmailEndpoint& endpoint, const Sender& sender) {
    endpoint.szDomainName.clear();
    endpoint.szDomainLiteral.clear();
    endpoint.szWebAddress.clear();
    endpoint.nLiteralKind =
        getDomainLiteral(endpoint.szDomainLiteral, endpoint.szServerAddress.c_str());
    if (endpoint.nLiteralKind < 0)
        return endpoint.nLiteralKind;
    chooseDomainName(endpoint, sender);
    if (endpoint.nLiteralKind == LITERAL_IPV4)
        endpoint.szWebAddress.format("%s", endpoint.szDomainLiteral.c_str());
    else
        endpoint.szWebAddress.format("[%s]", endpoint.szDomainLiteral.c_str() + IPV6_PREFIX_LENGTH);
    endpoint.szHostname.clear();
    if (!sender.hostnameLater)
        GetHostname(endpoint.szHostname);
    return 0;
}
