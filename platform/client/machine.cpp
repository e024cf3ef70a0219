#include "platform/client/machine.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <memory>
#include <mutex>
#include <net/if.h>
#include <net/route.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "platform/client/fd.h"

namespace pm::client {

namespace {

enum class Own : uint8_t { Name, Address4, Address6, Enabled4, Enabled6 };

struct MachineKey {
    const char* name;
    Own own;
};
constexpr MachineKey rows[] = {
    {"Norvu.Embedded.1#network.1#dnsnvcname", Own::Name},
    {"Norvu.Embedded.1#IPv4.1#Address", Own::Address4},
    {"Norvu.Embedded.1#IPv6.1#Address1", Own::Address6},
    {"Norvu.Embedded.1#IPv4.1#Enable", Own::Enabled4},
    {"Norvu.Embedded.1#IPv6.1#Enable", Own::Enabled6},
};

const MachineKey* findRow(KeyId key) {
    const auto* row =
        std::ranges::find_if(rows, [name = std::string_view(schemaRow(key).name)](
                                       const MachineKey& each) { return name == each.name; });
    return row == std::end(rows) ? nullptr : row;
}

std::string hostName() {
    char text[HOST_NAME_MAX + 1] = {};
    if (::gethostname(text, HOST_NAME_MAX) != 0)
        return {};
    const std::string name(text, std::strcspn(text, "."));
    return name == "localhost" || name == "(none)" ? "" : name;
}

// Splits a line of /proc at blanks and tabs.
std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

// The columns of a routing table in /proc, and the base of its metric.
struct RouteTable {
    const char* path;
    size_t words;
    size_t target;
    size_t bits; // prefix or mask of the target
    size_t metric;
    int metricBase;
    size_t flags;
    size_t interface;
};
constexpr RouteTable ROUTES4 = {"/proc/net/route", 8, 1, 7, 6, 10, 3, 0};
constexpr RouteTable ROUTES6 = {"/proc/net/ipv6_route", 10, 0, 1, 5, 16, 8, 9};

// A file of /proc. It is missing without its family; any other failure clears whole.
std::ifstream openTable(const char* path, bool& whole) {
    std::ifstream file(path);
    if (!file && errno != ENOENT)
        whole = false;
    return file;
}

// The interface of the default route with the lowest metric; empty without one.
std::string defaultInterface(const RouteTable& table, bool& whole) {
    std::ifstream file = openTable(table.path, whole);
    std::string interface;
    unsigned long lowest = ULONG_MAX;
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() < table.words)
            continue;
        const auto isZero = [&](size_t at) {
            return words[at].find_first_not_of('0') == std::string::npos;
        };
        const unsigned long flags = std::strtoul(words[table.flags].c_str(), nullptr, 16);
        const unsigned long metric =
            std::strtoul(words[table.metric].c_str(), nullptr, table.metricBase);
        if (!isZero(table.target) || !isZero(table.bits) || (flags & RTF_UP) == 0 ||
            (flags & RTF_REJECT) != 0 || metric >= lowest)
            continue;
        lowest = metric;
        interface = words[table.interface];
    }
    return interface;
}

struct Address {
    std::string interface;
    std::string text;
    bool lasting = true;
};

std::vector<Address> addresses4(bool& whole) {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        whole = false;
        return {};
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owned(first, freeifaddrs);
    std::vector<Address> found;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            (entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0)
            continue;
        char text[INET_ADDRSTRLEN] = {};
        const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
        inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
        found.push_back({entry->ifa_name, text});
    }
    return found;
}

// A line of /proc/net/if_inet6: address, index, prefix, scope, flags, interface.
std::vector<Address> addresses6(bool& whole) {
    constexpr unsigned long GLOBAL = 0;
    constexpr unsigned long UNUSABLE = 0x08 | 0x40; // duplicate, tentative
    constexpr unsigned long PASSING = 0x01 | 0x20;  // temporary, deprecated
    std::ifstream file = openTable("/proc/net/if_inet6", whole);
    std::vector<Address> found;
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() < 6 || words[0].size() != 32)
            continue;
        const unsigned long flags = std::strtoul(words[4].c_str(), nullptr, 16);
        if (std::strtoul(words[3].c_str(), nullptr, 16) != GLOBAL || (flags & UNUSABLE) != 0)
            continue;
        in6_addr address{};
        for (size_t at = 0; at < sizeof address.s6_addr; ++at)
            address.s6_addr[at] =
                static_cast<uint8_t>(std::strtoul(words[0].substr(2 * at, 2).c_str(), nullptr, 16));
        char text[INET6_ADDRSTRLEN] = {};
        inet_ntop(AF_INET6, &address, text, sizeof text);
        found.push_back({words[5], text, (flags & PASSING) == 0});
    }
    return found;
}

std::string chosen(const std::vector<Address>& addresses, const std::string& interface) {
    const Address* best = nullptr;
    const auto rank = [&](const Address& each) {
        return (each.interface == interface ? 2 : 0) + (each.lasting ? 1 : 0);
    };
    for (const Address& each : addresses)
        if (best == nullptr || rank(each) > rank(*best))
            best = &each;
    return best == nullptr ? "" : best->text;
}

// The kernel reports each change of a link, an address or a route to this socket.
Fd openReports() {
    Fd reports(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR |
                      RTMGRP_IPV6_ROUTE;
    if (reports.valid() &&
        ::bind(reports.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        reports.reset();
    return reports;
}

// Takes all reports. True if there was one, or if one may have been lost.
bool takeReports(const Fd& reports) {
    if (!reports.valid())
        return true;
    for (bool any = false;; any = true) {
        char start[1];
        if (::recv(reports.get(), start, sizeof start, 0) < 0 && errno != ENOBUFS)
            return any || errno != EAGAIN;
    }
}

struct OwnAddresses {
    std::string v4;
    std::string v6;
};

// A mail asks several times. Reading takes as long as all else that pm does for the mail, so
// addresses are read again only after a change.
OwnAddresses ownAddresses() {
    struct Known {
        std::mutex mutex;
        Fd reports = openReports();
        std::optional<OwnAddresses> addresses;
    };
    // Never destroyed: detached threads may use it until the process has ended.
    static Known& known = *new Known;
    const std::lock_guard lock(known.mutex);
    if (!takeReports(known.reports) && known.addresses)
        return *known.addresses;
    bool whole = true; // else read again the next time
    OwnAddresses read = {chosen(addresses4(whole), defaultInterface(ROUTES4, whole)),
                         chosen(addresses6(whole), defaultInterface(ROUTES6, whole))};
    known.addresses = whole ? std::optional(read) : std::nullopt;
    return read;
}

std::optional<Value> textValue(std::string text) {
    if (text.empty())
        return std::nullopt;
    return Value{ValueKind::Text, 0, std::move(text)};
}

// Whether a family is enabled, judged by its address; empty if neither family has one.
std::optional<Value> enabled(const std::string& address, const std::string& other) {
    if (address.empty() && other.empty())
        return std::nullopt;
    return Value{ValueKind::Int, address.empty() ? 0 : 1, {}};
}

} // namespace

bool isFromMachine(KeyId key) {
    return findRow(key) != nullptr;
}

std::optional<Value> machineValue(KeyId key, bool hasChassisCode) {
    const MachineKey* row = findRow(key);
    if (row == nullptr)
        return std::nullopt;
    if (row->own == Own::Name)
        return textValue(hasChassisCode ? "" : hostName());
    const OwnAddresses addresses = ownAddresses();
    switch (row->own) {
    case Own::Name:
        break;
    case Own::Address4:
        return textValue(addresses.v4);
    case Own::Address6:
        return textValue(addresses.v6);
    case Own::Enabled4:
        return enabled(addresses.v4, addresses.v6);
    case Own::Enabled6:
        return enabled(addresses.v6, addresses.v4);
    }
    return std::nullopt;
}

} // namespace pm::client
