// Checks the values of settings and attributes.
#include <arpa/inet.h>
#include <unistd.h>

#include "common/trap_rules.h"
#include "platform/client/machine.h"
#include "pmctl/checks.h"

namespace pm::ctl {

using namespace client;

namespace {

constexpr std::string_view IPV4 = "Norvu.Embedded.1#IPv4.1#Enable";
constexpr std::string_view IPV6 = "Norvu.Embedded.1#IPv6.1#Enable";
constexpr std::string_view ADDRESS4 = "Norvu.Embedded.1#IPv4.1#Address";
constexpr std::string_view ADDRESS6 = "Norvu.Embedded.1#IPv6.1#Address1";
constexpr std::string_view COMMUNITY = "hardware.community";

const SettingsEntry* entryInForce(const Checked& checked, KeyId key) {
    const SettingsEntry* entry = findEntry(checked.runTime.entries, key);
    return entry != nullptr ? entry : findEntry(checked.file.entries, key);
}

KeyId idOf(std::string_view key) {
    return findKey(key).value(); // throws if this program misspells a key
}

void checkShadowed(Checked& checked) {
    for (const SettingsEntry& entry : checked.file.entries) {
        const SettingsEntry* newer = findEntry(checked.runTime.entries, entry.key);
        if (newer == nullptr || newer->value == entry.value)
            continue;
        const std::string name = keyName(entry.key);
        std::string message = "has no effect: a value written at run time";
        if (schemaRow(entry.key).secrecy == Secrecy::Open)
            message += ", \"" + valueText(newer->value) + "\",";
        message += " overrides it; \"pmctl unset " + name + "\" deletes that one";
        checked.findings.push_back({Severity::Warning, {checked.path, entry.line, name, message}});
    }
}

void checkMailDestinations(Checked& checked) {
    bool any = false;
    for (int number = 1; number <= MAIL_DESTINATIONS; ++number) {
        const std::string enabled = numbered("pm_bool_email_alert*_enabled", number);
        const std::string address = numbered("pm_str_email_alert*_destination", number);
        if (!isOn(checked, enabled))
            continue;
        any = true;
        if (valueInForce(checked, address).empty())
            addFinding(checked, Severity::Error, enabled,
                       "the destination has no address; set " + address + ", or disable it");
    }
    if (!any)
        addFinding(checked, Severity::Warning, {},
                   "no mail destination is enabled, so events are not mailed; set "
                   "pm_bool_email_alert1_enabled to true and give it an address");
}

// Whether the server is this machine, without a DNS query.
bool isLocal(const std::string& server) {
    char own[256] = {};
    return server == "localhost" || server == "::1" || server.starts_with("127.") ||
           (::gethostname(own, sizeof own - 1) == 0 && server == own);
}

void checkServer(Checked& checked) {
    const std::string server = valueInForce(checked, SERVER_KEY);
    if (isServerSet(server) && !isLocal(server))
        addFinding(
            checked, Severity::Note, SERVER_KEY,
            "pm keeps no queue: mails are lost while this server is down; pm(8) shows how to "
            "set up a queue on this machine");
    const int family = familyOf(server);
    const bool on4 = familyIsOn(checked, AF_INET);
    const bool on6 = familyIsOn(checked, AF_INET6);
    if (!isServerSet(server))
        addFinding(checked, Severity::Error, SERVER_KEY,
                   "no mail server is set, no mail can be sent; give its name or address");
    if (!on4 && !on6)
        addFinding(checked, Severity::Error, IPV4,
                   "neither IPv4 nor IPv6 is enabled, no mail can be sent; set this one or " +
                       std::string(IPV6) + " to 1");
    else if (isServerSet(server) && family != AF_UNSPEC && !familyIsOn(checked, family))
        addFinding(checked, Severity::Error, SERVER_KEY,
                   family == AF_INET ? "is an IPv4 address, but IPv4 is not enabled; set " +
                                           std::string(IPV4) + " to 1, or name a server with IPv6"
                                     : "is an IPv6 address, but IPv6 is not enabled; set " +
                                           std::string(IPV6) + " to 1, or name a server with IPv4");
    const auto ownAddress = [&](bool on, std::string_view key, int wanted, const char* example) {
        const std::string address = valueInForce(checked, key);
        if (on && familyOf(address) != wanted)
            addFinding(checked, Severity::Error, key,
                       std::string(address.empty()
                                       ? "is empty, but its family is enabled: mails would "
                                         "contain no address; set it, for example "
                                       : "is no address of its family, but mails would "
                                         "contain it; set it, for example ") +
                           example);
    };
    ownAddress(on4, ADDRESS4, AF_INET, "192.0.2.10");
    ownAddress(on6, ADDRESS6, AF_INET6, "2001:db8::10");
    if (on4 && valueInForce(checked, ADDRESS4) == "0.0.0.0")
        addFinding(checked, Severity::Warning, ADDRESS4,
                   "mails and their links would contain 0.0.0.0, which is nobody's address: this "
                   "machine has no address, or 0.0.0.0 is set; set the controller's address");
    if (on6 && (!on4 || family == AF_INET6) && valueInForce(checked, ADDRESS6) == "::")
        addFinding(
            checked, Severity::Error, ADDRESS6,
            "mails go out over IPv6, for which it must not be \"::\"; set the controller's address");
}

void checkDirectories(Checked& checked) {
    constexpr std::string_view ACTIVE_DIRECTORY = "pam_int_ad_enable_mode_pl";
    constexpr std::string_view LDAP = "pam_int_ldap_enable_mode";
    if (isOn(checked, ACTIVE_DIRECTORY) && isOn(checked, LDAP))
        addFinding(
            checked, Severity::Warning, ACTIVE_DIRECTORY,
            "Active Directory and LDAP are both on, and stay so until one of them is changed; set "
            "this one or " +
                std::string(LDAP) + " to 0");
}

void checkTraps(Checked& checked) {
    bool any = false;
    for (int number = 1; number <= TRAP_DESTINATIONS; ++number) {
        const std::string state = numbered("Norvu.Embedded.1#SNMPAlert.*#State", number);
        const std::string key = numbered("Norvu.Embedded.1#SNMPAlert.*#Destination", number);
        const std::string destination = valueInForce(checked, key);
        any = any || isOn(checked, state) || !destination.empty();
        if (isOn(checked, state) && destination.empty())
            addFinding(checked, Severity::Error, state,
                       "the trap destination has no address; set " + key + ", or this one to 0");
        else if (const char* fault = destinationFault(destination); fault != nullptr)
            addFinding(checked, Severity::Error, key, fault);
    }
    const std::string community = valueInForce(checked, COMMUNITY);
    if (!isSafeCommunity(community))
        addFinding(checked, Severity::Error, COMMUNITY,
                   "would be refused: it must contain neither ' nor \\; choose another");
    else if (any && community.empty())
        addFinding(checked, Severity::Error, COMMUNITY,
                   "no SNMP community is set, no trap can be sent; set community in [hardware]");
}

} // namespace

std::string valueInForce(const Checked& checked, std::string_view key) {
    const KeyId id = idOf(key);
    if (const SettingsEntry* entry = entryInForce(checked, id))
        return valueText(entry->value);
    const auto machine =
        machineValue(id, entryInForce(checked, idOf("hardware.chassis_code")) != nullptr);
    return valueText(machine ? *machine : defaultValue(valueKey(id)).value_or(Value()));
}

bool isOn(const Checked& checked, std::string_view key) {
    const std::string value = valueInForce(checked, key);
    return value == "true" || wholeNumber(value) == 1;
}

int32_t numberInForce(const Checked& checked, std::string_view key) {
    return wholeNumber(valueInForce(checked, key)).value_or(0);
}

void addFinding(Checked& checked, Severity severity, std::string_view key, std::string message) {
    const SettingsEntry* entry = key.empty() ? nullptr : entryInForce(checked, idOf(key));
    const bool runTime = entry != nullptr && findEntry(checked.runTime.entries, entry->key);
    checked.findings.push_back(
        {severity,
         {runTime ? checked.runTimePath : checked.path, entry == nullptr ? 0 : entry->line,
          std::string(key), std::move(message)}});
}

std::string numbered(std::string_view pattern, int number) {
    std::string key(pattern);
    return key.replace(key.find('*'), 1, std::to_string(number));
}

bool isServerSet(std::string_view server) {
    return !server.empty() && server != "0.0.0.0";
}

int familyOf(const std::string& text) {
    unsigned char address[sizeof(in6_addr)];
    for (const int family : {AF_INET, AF_INET6})
        if (inet_pton(family, text.c_str(), address) == 1)
            return family;
    return AF_UNSPEC;
}

const char* destinationFault(const std::string& text) {
    const bool colon = text.find(':') != std::string::npos;
    if (text.find('[') != std::string::npos ||
        (colon && familyOf(text.substr(0, text.find('%'))) != AF_INET6))
        return "is no address: write 192.0.2.1 or ::1 for example, without brackets, \"udp6:\" or "
               "port; Norvu.Embedded.1#SNMP.1#AlertPort sets the port";
    if (!text.empty() && !isSafeDestination(text))
        return "would be refused: a name or address may only contain letters, digits and .-_:%, "
               "and must not start with a hyphen";
    return nullptr;
}

bool familyIsOn(const Checked& checked, int family) {
    return wholeNumber(valueInForce(checked, family == AF_INET ? IPV4 : IPV6)) == 1;
}

void checkValues(Checked& checked) {
    checkShadowed(checked);
    checkServer(checked);
    checkMailDestinations(checked);
    checkDirectories(checked);
    checkTraps(checked);
}

} // namespace pm::ctl
