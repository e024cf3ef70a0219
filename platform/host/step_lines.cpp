#include "platform/host/step_lines.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/client/schema.h"

namespace pm::host {

namespace {

struct StepPattern {
    std::string_view start; // of the text after the operation's name
    LineKind kind;
    bool rest;             // append the rest of the line to text
    std::string_view text; // empty: the line's own text up to a comma
};

constexpr StepPattern rows[] = {
    {"szServerAddress=", LineKind::Server, true, ""},
    {"getaddrinfo error: ", LineKind::Reason, true, "the mail server % does not resolve: "},
    {"get Domain Literal fail", LineKind::Reason, false,
     "the mail server % has no address of an enabled family (IPv4, IPv6)"},
    {"get ipv6 Domain Literal fail", LineKind::Reason, false,
     "mails are sent over IPv6, but the controller's IPv6 address is \"::\""},
    {"Email server address is currently not set", LineKind::Reason, false, "no mail server is set"},
    {"Couldn't get username", LineKind::Reason, false,
     "login to the mail server is enabled, but no user name is set"},
    {"either could not get email destination", LineKind::Reason, false,
     "the destination has no address"},
    {"no relay configuration is written: ", LineKind::Reason, true, ""},
    {"the message is not complete: ", LineKind::Incomplete, true,
     "a file of the mail in /tmp cannot be written: "},
    {"Couldn't allocate", LineKind::Reason, false, "out of memory"},
    {"pLocalBodyText - malloc() Failed", LineKind::Reason, false,
     "out of memory for the mail's body"},
    {"index value of ", LineKind::Reason, false, "the index is out of range"},
    {"request_data is NULL", LineKind::Reason, false, "the request has no record"},
    {"pTestEmailStruct is NULL", LineKind::Reason, false, "the request has no record"},
    {"pAlertEmailStruct is NULL", LineKind::Reason, false, "the request has no record"},
    {"request_size less than", LineKind::Reason, false, "the record is too short"},
    {"szSubject string is zero length", LineKind::Reason, false, "the subject is empty"},
    {"szBodyText string is zero length", LineKind::Reason, false, "the body is empty"},
    {"Blocking Mode ", LineKind::GenericMail, false, ""},
    {"ERROR : ", LineKind::GenericError, true, "no thread or memory for the mail: "},
    {"Failed to get SNMP community name", LineKind::Reason, false, "no SNMP community is set"},
    {"failed to get SNMP trap dest string", LineKind::Reason, false,
     "the destination has no address"},
    {"the community holds a quote", LineKind::Reason, false,
     "the community holds a quote, a backslash or a control character"},
    {"the destination of index", LineKind::Reason, false,
     "the destination is neither an address nor a name"},
    {"cannot convert varbind data", LineKind::Reason, false, "the trap is too long"},
    {"petConstructVarBind function failed", LineKind::Reason, false, "out of memory"},
    {"SNMP trap dest #", LineKind::Reason, false, "the destination is not enabled"},
    {"Failed to connect to system bus: ", LineKind::Reason, true,
     "the system bus cannot be reached: "},
    {"Failed to call method: ", LineKind::Reason, true,
     "the log manager was not reached or failed: "},
    {"Failed to parse response: ", LineKind::Reason, true,
     "the log manager's answer cannot be read: "},
    {"Exit with status=", LineKind::Answer, true, "the log manager answered "},
};

constexpr std::string_view GENERIC_ENTRY = "pthread_sendGenericEmail() - Entry";
constexpr std::string_view MAIL_TO = "mail to \"";
constexpr std::string_view WITH_STATUS = "\" failed with status ";

bool isNameLetter(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || letter == '_';
}

// The text after "[12]: " and "name() - ", "name()-", "name(): " or "name: ".
std::string_view wordsOf(std::string_view line) {
    line.remove_prefix(std::min(line.find("]: ") + 3, line.size()));
    const auto letters =
        static_cast<size_t>(std::ranges::find_if_not(line, isNameLetter) - line.begin());
    std::string_view rest = line.substr(letters);
    if (rest.starts_with("()"))
        rest.remove_prefix(2);
    else if (!rest.starts_with(": "))
        return line;
    rest.remove_prefix(std::min(rest.find_first_not_of(" -:"), rest.size()));
    return rest;
}

StepLine readFailedMail(std::string_view words) {
    StepLine line;
    const size_t end = words.rfind(WITH_STATUS);
    if (end == std::string_view::npos || end < MAIL_TO.size())
        return line;
    line.kind = LineKind::FailedMail;
    line.text = words.substr(MAIL_TO.size(), end - MAIL_TO.size());
    line.status = client::wholeNumber(words.substr(end + WITH_STATUS.size())).value_or(-1);
    return line;
}

} // namespace

StepLine readStepLine(std::string_view line, int error) {
    if (!line.starts_with('['))
        return {};
    if (line.ends_with(GENERIC_ENTRY))
        return {LineKind::GenericThread, {}, 0};
    const std::string_view words = wordsOf(line);
    if (words.starts_with(MAIL_TO))
        return readFailedMail(words);
    constexpr std::string_view NOT_OPENED = "could not open ";
    if (words.starts_with(NOT_OPENED))
        return {LineKind::Reason,
                std::string(words.substr(NOT_OPENED.size())) +
                    " cannot be opened: " + std::strerror(error),
                0};
    const auto* row = std::ranges::find_if(
        rows, [&](const StepPattern& each) { return words.starts_with(each.start); });
    const std::string_view rest =
        row == std::end(rows) ? std::string_view() : words.substr(row->start.size());
    if (row == std::end(rows) || (row->kind == LineKind::Answer && rest == "0"))
        return {};
    constexpr std::string_view NOT_CALLED = "Failed to call method: ";
    if (row->start == NOT_CALLED && rest.starts_with(std::strerror(EHOSTUNREACH)))
        return {LineKind::Reason, "the log manager is not on the system bus", 0};
    std::string text(row->text);
    if (row->kind == LineKind::Server)
        text = rest.substr(0, rest.find(", arr_size="));
    else if (row->rest)
        text += rest;
    else if (text.empty())
        text = words.substr(0, words.find(','));
    return {row->kind, text, 0};
}

} // namespace pm::host
