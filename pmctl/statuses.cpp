#include "pmctl/statuses.h"

namespace pm::ctl {

namespace {

struct Meaning {
    std::string_view name; // empty: all others
    int32_t status;
    const char* text;
};

constexpr Meaning meanings[] = {
    {"pm_function_sendEmailAlertsEx", -1,
     "no usable mail server is set, or the mail to at least one destination failed"},
    {"pm_function_sendEmailAlertsEx", -3, "subject or body is missing, or the record is too short"},
    {"pm_function_sendTestEmailEx", -1,
     "no usable mail server is set, the destination has no address, or the mail was not accepted"},
    {"pm_function_sendTestEmailEx", -3,
     "the index is missing or above 4, or a mail setting can't be read"},
    {"pm_function_sendAlertEmail", -17,
     "the index is outside 1 to 4, a setting can't be read, a file can't be written, or a "
     "value for the relay holds a line end"},
    {"pm_function_sendIPMITestTrap", -1,
     "the trap could not be built: community or destination is missing or not allowed"},
    {"pm_function_sendIPMITestTrap", -3, "the index is missing or outside 1 to 8"},
    {"pm_function_sendSNMPTestTrap", -1, "the destination is not enabled"},
    {"pm_function_sendSNMPTestTrap", -3, "the index is missing or outside 1 to 8"},
    {"pm_function_sendTestTrap", 1, "the index is missing or outside 1 to 8"},
    {"pm_function_sendTestTrap", 2, "the destination is not enabled"},
    {"", -1, "the mail server did not accept the mail, or there is no address to send from"},
    {"", -3, "the request is invalid, or a mail setting can't be read"},
    {"", -9, "out of memory for the mail's body"},
    {"", -17,
     "a setting can't be read, a file can't be written, or a value for the relay holds a line end"},
};

} // namespace

const char* statusMeaning(std::string_view name, int32_t status) {
    for (const Meaning& meaning : meanings)
        if (meaning.status == status && (meaning.name.empty() || meaning.name == name))
            return meaning.text;
    return "unknown status";
}

} // namespace pm::ctl
