// Checks what goes into msmtp's configuration: sender, login, encryption.
#include <algorithm>
#include <unistd.h>

#include "pmctl/checks.h"

namespace pm::ctl {

using namespace client;

namespace {

constexpr std::string_view SENDER = "Norvu.Embedded.1#Remotehosts.1#SenderEmail";
constexpr std::string_view NAME = "Norvu.Embedded.1#network.1#dnsnvcname";
constexpr std::string_view LOGIN = "alert_bool_smtp_auth_enable";
constexpr std::string_view USER = "alert_str_smtp_user";
constexpr std::string_view PASSWORD = "alert_str_smtp_password";
constexpr std::string_view MECHANISM = "alert_int_smtp_sasl";
constexpr const char* MAIL_NAME = "/etc/mailname";
// msmtp replaces % and one of these letters; %% does not escape it.
constexpr std::string_view IN_SENDER = "UHCM";
constexpr std::string_view IN_DOMAIN = "HCM";

// what: describes the value if key is empty; else empty.
void checkPatterns(Checked& checked, std::string_view key, const std::string& what,
                   std::string_view value, std::string_view letters) {
    for (const char letter : letters) {
        const std::string pattern{'%', letter};
        if (value.find(pattern) == std::string_view::npos)
            continue;
        const bool fails = letter == 'M' && ::access(MAIL_NAME, R_OK) != 0;
        std::string message = what;
        message.append("holds ").append(pattern);
        if (fails)
            message.append(", for which msmtp reads ").append(MAIL_NAME);
        message.append(fails ? ", which cannot be read: no mail can be sent"
                             : ", which msmtp replaces by another text");
        message.append("; it cannot be escaped, so choose a value without it");
        addFinding(checked, fails ? Severity::Error : Severity::Warning, key, message);
    }
}

void checkAddress(Checked& checked, std::string_view key) {
    const std::string address = valueInForce(checked, key);
    if (!address.empty() && address.find('@') == std::string::npos)
        addFinding(
            checked, Severity::Warning, key,
            address.find_first_not_of(' ') == std::string::npos
                ? "holds blanks only: mails would have an empty address; give one, or set it to \"\""
                : "is an address without \"@\", which most mail servers refuse; add its domain");
}

std::string systemDomain() {
    char name[256] = {};
    return ::getdomainname(name, sizeof name - 1) == 0 ? name : "";
}

void checkSender(Checked& checked) {
    const std::string sender = valueInForce(checked, SENDER);
    const std::string domain = systemDomain();
    const bool composed = sender.empty(); // pm builds it from name and domain
    if (composed)
        checkPatterns(checked, NAME, "", valueInForce(checked, NAME), IN_SENDER);
    else
        checkPatterns(checked, SENDER, "", sender, IN_SENDER);
    checkPatterns(checked, {}, "the system's domain name ", domain,
                  composed ? IN_SENDER : IN_DOMAIN);
    if (domain.find_first_of("\r\n") != std::string::npos)
        addFinding(checked, Severity::Error, {},
                   "the system's domain name holds a line end: msmtp's configuration cannot be "
                   "written, and mails end with status -17; set another with domainname");
    checkAddress(checked, SENDER);
    for (int number = 1; number <= MAIL_DESTINATIONS; ++number)
        checkAddress(checked, numbered("pm_str_email_alert*_destination", number));
}

void checkLogin(Checked& checked, int32_t encryption) {
    // By login mechanism: the risk without encryption.
    constexpr const char* UNENCRYPTED[] = {
        "mechanism 0 without encryption: msmtp refuses unless the server offers a challenge login",
        "login without encryption: the password goes in clear",
        "login without encryption: the password goes in clear",
        "login without encryption: an eavesdropper can try out passwords on the response",
        "login without encryption: an eavesdropper can try out passwords on the response"};
    if (!isOn(checked, LOGIN))
        return;
    for (const std::string_view key : {USER, PASSWORD})
        if (valueInForce(checked, key).empty())
            addFinding(checked, Severity::Error, LOGIN,
                       std::string("login to the mail server is enabled, but there is no ") +
                           (key == USER ? "user" : "password") + ", no mail can be sent; set " +
                           std::string(key) + ", or this one to false");
    const auto mechanism = static_cast<size_t>(numberInForce(checked, MECHANISM));
    if (encryption == 0)
        addFinding(checked, Severity::Warning, mechanism == 0 ? LOGIN : MECHANISM,
                   std::string(UNENCRYPTED[mechanism]) + "; set " + std::string(ENCRYPTION_KEY) +
                       " to 1 or 2");
}

} // namespace

void checkMail(Checked& checked) {
    const int32_t encryption = numberInForce(checked, ENCRYPTION_KEY);
    if (encryption != 0)
        addFinding(
            checked, Severity::Note, ENCRYPTION_KEY,
            "the mail server's certificate is never verified: encryption stops eavesdroppers, "
            "not a false server; use a network that you trust");
    checkSender(checked);
    checkLogin(checked, encryption);
}

} // namespace pm::ctl
