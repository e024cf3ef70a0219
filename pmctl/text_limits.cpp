#include "pmctl/text_limits.h"

#include <algorithm>
#include <string>
#include <unistd.h>

#include "common/records.h"
#include "pmctl/exchange.h"
#include "pmctl/output.h"

namespace pm::ctl {

namespace {

// What pm adds to a body, without the addresses.
constexpr std::string_view LINKS = "\nTo launch the Norvu Web Interface, click here: https://\n"
                                   "To launch the Norvu Virtual Console, click here: "
                                   "https:///console\n";
constexpr std::string_view FOOTER = "\nNorvu web UI: https://\n";
constexpr std::string_view CONSOLE = "Norvu virtual console: https:///console\n";
constexpr size_t LINKS_BODY = sizeof EmailAlertsExStruct::szBodyText - 1; // including the links
constexpr size_t FOOTER_BODY = sizeof TestEmailStruct::szBody - 1;
constexpr size_t SUBJECT = 254;
constexpr size_t LONGEST_NAME =
    525; // in a link: host and domain with 254 bytes each, and separators
constexpr size_t LONGEST_ADDRESS = 65; // in a link: an attribute, in brackets

std::string attribute(const Options& options, const char* name) {
    return valueOf(options, std::string("Norvu.Embedded.1#") + name);
}

// The longest address that a link can have.
std::string longestAddress(const Options& options) {
    std::string longest;
    if (attribute(options, "IPv4.1#Enable") == "1")
        longest = attribute(options, "IPv4.1#Address");
    if (attribute(options, "IPv6.1#Enable") != "1")
        return longest;
    std::string address = '[' + attribute(options, "IPv6.1#Address1") + ']';
    return address.size() > longest.size() ? address : longest;
}

std::string systemDomain() {
    char name[256] = {};
    if (::getdomainname(name, sizeof name - 1) != 0 || std::string_view(name) == "(none)")
        return {};
    return name;
}

std::string hostName(const Options& options) {
    std::string name = attribute(options, "network.1#dnsnvcname");
    if (!name.empty() && name != "(none)")
        return name;
    const std::string code = valueOf(options, "hardware.chassis_code");
    return code.empty() ? "norvu" : "norvu-" + code;
}

bool tooLong(const char* what, size_t size, size_t room, const char* added) {
    complain("the %s has %zu bytes, at most %zu are allowed with %s", what, size, room, added);
    return false;
}

bool bodyFits(std::string_view body, size_t limit, size_t added, const char* what) {
    const size_t room = limit - std::min(added, limit);
    return body.size() <= room || tooLong("body", body.size(), room, what);
}

} // namespace

bool fitsWithLinks(const Options& options, std::string_view body) {
    // pm adds no links to a body with "[]", where it inserts the address instead.
    if (body.size() + LINKS.size() + 2 * LONGEST_NAME <= LINKS_BODY ||
        body.find("[]") != std::string_view::npos)
        return true;
    size_t link = longestAddress(options).size();
    const std::string domain = systemDomain();
    if (!domain.empty() && attribute(options, "network.1#dnsregister") == "1")
        link = std::max(link, hostName(options).size() + 1 + domain.size());
    return bodyFits(body, LINKS_BODY, LINKS.size() + 2 * link, "the two links that pm adds");
}

bool fitsWithFooter(const Options& options, std::string_view body) {
    if (body.size() + FOOTER.size() + CONSOLE.size() + 2 * LONGEST_ADDRESS <= FOOTER_BODY)
        return true;
    const size_t address = longestAddress(options).size();
    size_t added = FOOTER.size() + address;
    if (valueOf(options, "zuvastatus_bool_zuva_present") == "true")
        added += CONSOLE.size() + address;
    return bodyFits(body, FOOTER_BODY, added, "the footer that pm adds");
}

bool subjectFits(const Options& options) {
    const std::string prefix = attribute(options, "Remotehosts.1#MessageSubjectPrefix");
    size_t added = prefix.empty() ? 0 : prefix.size() + 1;
    if (!options.host.empty()) {
        added += options.host.size() + 2;
    } else if (!prefix.empty()) {
        const std::string domain = systemDomain();
        constexpr size_t LITERAL_HEAD = 5; // "IPv6:" in place of brackets
        added += hostName(options).size() + 3 +
                 (domain.empty() ? longestAddress(options).size() + LITERAL_HEAD : domain.size());
    }
    const size_t room = SUBJECT - std::min(added, SUBJECT);
    return options.subject.size() <= room ||
           tooLong("subject", options.subject.size(), room, "the text that pm puts before it");
}

} // namespace pm::ctl
