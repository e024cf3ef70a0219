#include "mail/domain_literal.h"

#include <memory>
#include <netdb.h>
#include <sys/socket.h>

#include "config/read.h"
#include "platform/attributes.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "getDomainLiteral";
constexpr int32_t ENABLED = 1;

struct AddressSettings {
    int32_t nIPv4Enable = 0;
    int32_t nIPv6Enable = 0;
    Text<64> currIPv4Addr;
    Text<64> currIPv6Addr;
};

// Reads all four values. Each must be readable, even if its family is not used later.
bool readAddressSettings(AddressSettings& own) {
    if (CfgGetAttributeInt("Norvu.Embedded.1#IPv4.1#Enable", &own.nIPv4Enable) != 0) {
        PM_LOG_AS(OPERATION, "get Ipv4.1#enable fail\n");
        return false;
    }
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()-nIPv4Enable=%d\n", own.nIPv4Enable);
    if (CfgGetAttributeInt("Norvu.Embedded.1#IPv6.1#Enable", &own.nIPv6Enable) != 0) {
        PM_LOG_AS(OPERATION, "get ipv6.1#enable fail\n");
        return false;
    }
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()-nIPv6Enable=%d\n", own.nIPv6Enable);
    if (!readAttribute("Norvu.Embedded.1#IPv4.1#Address", own.currIPv4Addr)) {
        PM_LOG_AS(OPERATION, "get ipv4.1#address fail\n");
        return false;
    }
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()-currIPv4Addr=%s\n", own.currIPv4Addr.c_str());
    if (!readAttribute("Norvu.Embedded.1#IPv6.1#Address1", own.currIPv6Addr)) {
        PM_LOG_AS(OPERATION, "get ipv6.1#address1 fail\n");
        return false;
    }
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()-currIPv6Addr=%s\n", own.currIPv6Addr.c_str());
    return true;
}

enum class Lookup { Failed, HasFamily, LacksFamily };

Lookup lookUpServer(const char* szServerAddress, int family) {
    // Zeroed hints, not null: with null the C library sets AI_ADDRCONFIG and omits families
    // of which this machine has no address.
    const addrinfo hints = {};
    addrinfo* answer = nullptr;
    const int error = getaddrinfo(szServerAddress, nullptr, &hints, &answer);
    if (error != 0) {
        PM_LOG_AS(OPERATION, "getaddrinfo error: %s\n", gai_strerror(error));
        return Lookup::Failed;
    }
    if (answer == nullptr)
        return Lookup::LacksFamily;
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(answer, freeaddrinfo);
    for (const addrinfo* entry = answer; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == family)
            return Lookup::HasFamily;
    }
    return Lookup::LacksFamily;
}

int32_t writeIPv4Literal(Text<255>& szDomainLiteral, const AddressSettings& own) {
    szDomainLiteral.assign(own.currIPv4Addr.view());
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()- bServerAddrIsIPv4=true\n");
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()- ipv4 Domain Literal: %s\n", szDomainLiteral.c_str());
    return LITERAL_IPV4;
}

int32_t writeIPv6Literal(Text<255>& szDomainLiteral, const AddressSettings& own) {
    szDomainLiteral.clear();
    szDomainLiteral.format("IPv6:%s", own.currIPv6Addr.c_str());
    PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s()- bServerAddrIsIPv6=true\n");
    if (own.currIPv6Addr.equals("::")) {
        szDomainLiteral.clear();
        PM_LOG_AS(OPERATION, "get ipv6 Domain Literal fail\n");
        return LITERAL_FAILED;
    }
    PM_LOG_AS(OPERATION, "ipv6 Domain Literal: %s\n", szDomainLiteral.c_str());
    return LITERAL_IPV6;
}

} // namespace

int32_t getDomainLiteral(Text<255>& szDomainLiteral, const char* szServerAddress) {
    PM_LOG_WHOLE("[%d]: Enter %s()\n");
    PM_LOG_WHOLE("[%d]: %s()-szServerAddress=%s, arr_size=%d\n", szServerAddress,
                 int{Text<255>::capacity()});
    szDomainLiteral.clear();
    AddressSettings own;
    if (!readAddressSettings(own))
        return LITERAL_FAILED;

    if (own.nIPv4Enable == ENABLED) {
        const Lookup lookup = lookUpServer(szServerAddress, AF_INET);
        if (lookup == Lookup::Failed)
            return LITERAL_FAILED;
        if (lookup == Lookup::HasFamily)
            return writeIPv4Literal(szDomainLiteral, own);
        PM_LOG_WHOLE("[%d]: %s()- bServerAddrIsIPv4=false\n");
    }
    if (own.nIPv6Enable == ENABLED) {
        const Lookup lookup = lookUpServer(szServerAddress, AF_INET6);
        if (lookup == Lookup::Failed)
            return LITERAL_FAILED;
        if (lookup == Lookup::HasFamily)
            return writeIPv6Literal(szDomainLiteral, own);
        PM_LOG_WHOLE("[%d]: %s()- bServerAddrIsIPv6=false\n");
    }
    szDomainLiteral.clear();
    PM_LOG("get Domain Literal fail\n");
    return LITERAL_FAILED;
}

} // namespace pm
