// Each outside call, allocation and file operation of each function and callback is made
// to fail at its nth time, for all n until a run is through without a failure.
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <regex>
#include <thread>

#include "common/status.h"
#include "core/config_subscription.h"
#include "core/directory_rule.h"
#include "core/events.h"
#include "mail_senders.h"
#include "platform/distribution.h"
#include "trap/functions.h"

using namespace pm;

static std::atomic<int> failingFileCall = 0; // counts down; that one fails
static std::string failedFileCall;

static bool fileCallFails(const std::string& call) {
    if (failingFileCall <= 0 || --failingFileCall != 0)
        return false;
    failedFileCall = call;
    errno = ENOSPC;
    return true;
}

// These stand before the C library's.
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))
extern "C" {
int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    return fileCallFails(words("open", path)) ? -1 : REAL(open)(path, flags, mode);
}
size_t fwrite(const void* text, size_t size, size_t count, FILE* file) {
    return fileCallFails("fwrite") ? 0 : REAL(fwrite)(text, size, count, file);
}
int fprintf(FILE* file, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool fails = fileCallFails(words("fprintf", format));
    const int length = fails ? -1 : vfprintf(file, format, arguments);
    va_end(arguments);
    return length;
}
int fclose(FILE* file) {
    const int result = REAL(fclose)(file);
    return fileCallFails("fclose") ? EOF : result;
}
int unlink(const char* path) noexcept {
    return fileCallFails("unlink") ? -1 : REAL(unlink)(path);
}
} // extern "C"

namespace {

template <typename Record>
int32_t call(int32_t (*function)(uint32_t, void*), Record record) {
    return function(sizeof record, &record);
}
int32_t notify(qornc_event_callback callback, const char* topic, uint16_t type, const char* name) {
    char record[sizeof(EventRecord)] = {};
    const AttributeChangeRecord head = {sizeof record, type, {}, ATTRIBUTE_NAME_OFFSET};
    std::memcpy(record, &head, sizeof head);
    std::strcpy(record + ATTRIBUTE_NAME_OFFSET, name);
    return callback(nullptr, topic, record);
}

const std::map<char, int32_t (*)()> operations = {
    {'E',
     [] {
         return call(sendEmailAlertsEx, EmailAlertsExStruct{"", "Subject", "Body"});
     }},
    {'X', [] { return call(sendTestEmailEx, IndexRequest{4}); }},
    {'T', [] { return call(sendTestEmail, testRequest("Body")); }},
    {'A', [] { return call(sendAlertEmail, alertRequest("Body")); }},
    {'G', sendGenericAs4242},
    {'D', [] { return sendGeneric(genericRequest("2@example.org", "Subject", 0, "Body")); }},
    {'I', [] { return call(sendIPMITestTrap, IndexRequest{8}); }},
    {'S', [] { return call(sendSNMPTestTrap, IndexRequest{2}); }},
    {'F', [] { return call(sendTestTrap, IndexRequest{2}); }},
    {'P', [] { return notify(pmEventCallback, "event_ipmi_pet", 3, ""); }},
    {'C', [] { return notify(pmEventCallback, "qelctl_event_config_changed", 3, ""); }},
    {'L',
     [] { return notify(MiscAttributeChangeCallback, "", 1, "norvu.embedded.1#ldap.1#enable"); }},
    {'N',
     [] { return notify(snmpConfigNotificationCallback, "", 1, "norvu.embedded.1#snmp.1#x"); }}};

// Status by the step that failed; in none of these rows the operation goes on, or its second
// attempt succeeds.
const struct {
    const char* letters;
    std::regex failed;
    int32_t status;
} statuses[] = {{"EX", std::regex("str pm_str_email_server_address 255 first"), -1},
                {"TAG", std::regex("str pm_str_email_server_address .*"), -17},
                {"EXTAGP", std::regex("attr(int)? @IPv.*|getaddrinfo .*"), -1},
                {"EXTAGP", std::regex("bool alert_bool.*|str alert_str_smtp_user.*"), -3},
                {"E", std::regex("bool pm_bool_email_alert.*"), -1},
                {"EX", std::regex("str pm_str_email_alert4_destination.*"), -1},
                {"IS", std::regex("object @SNMPAlert.*"), -1},
                {"F", std::regex("object @SNMPAlert.*"), 2},
                {"I", std::regex("community|malloc [23]"), -1},
                {"GD", std::regex("malloc [12]"), -1},
                {"EXP", std::regex("malloc 5"), PM_ERROR_NO_BODY_BUFFER},
                {"EXTAGP", std::regex("malloc .|open .*config.txt.*|fprintf (acc|tls)[^]*"), -17}};

int32_t senderStatus(char letter, const std::string& failed) {
    for (const auto& row : statuses) {
        if (std::strchr(row.letters, letter) != nullptr && std::regex_match(failed, row.failed))
            return row.status;
    }
    return 0;
}

// The nth call; one for an object's body or text is named after the object.
std::string callNamed(size_t n) {
    size_t at = n - 1;
    while (script.calls[at] == "body" || script.calls[at] == "string")
        --at;
    return script.calls[at] + (n == 1 ? " first" : "");
}

// Gives the name of the step that failed; nothing if there is no nth one of the kind.
std::string runWithFault(int32_t (*operation)(), const std::string& kind, int n, int32_t& status) {
    script.failingCall = kind == "call" ? n : 0;
    script.failingAllocation = kind == "malloc" ? n : 0;
    failingFileCall = kind == "file" ? n : 0;
    status = operation();
    for (int i = 0; script.detached && liveBlocks() > 0 && i < 5000; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const bool failed = script.failingCall + script.failingAllocation + failingFileCall == 0;
    script.failingCall = script.failingAllocation = failingFileCall = 0;
    return !failed            ? ""
           : kind == "call"   ? callNamed(static_cast<size_t>(n))
           : kind == "malloc" ? words("malloc", n)
                              : failedFileCall;
}

class FaultSweep : public Scripted {};

TEST_F(FaultSweep, EachStepOfEachOperation) {
    int runs = 0;
    for (const auto& [letter, operation] : operations) {
        for (const std::string kind : {"call", "malloc", "file"}) {
            std::string failed = "none yet";
            for (int n = 1; !failed.empty(); ++n, ++runs) {
                restart("pm_bool_email_alert1_enabled:0|pm_bool_email_alert2_enabled:0|reply:0|"
                        "pm_bool_email_alert3_enabled:0|alert_bool_smtp_auth_enable:1|"
                        "alert_str_smtp_user=u|alert_int_smtp_sasl:1|alert_str_smtp_password=p|"
                        "pam_int_ad_enable_mode_pl:1|pam_int_ldap_enable_mode:1|"
                        "@Remotehosts.1#MessageSubjectPrefix=[x]");
                int32_t status = 0;
                failed = runWithFault(operation, kind, n, status);
                SCOPED_TRACE(letter + (": " + failed));
                const int32_t expected = senderStatus(letter, failed);
                EXPECT_EQ(letter == 'E' && expected != 0 ? -1 : expected, status);
                EXPECT_EQ(0U, liveBlocks());
                Lines left = mailFiles();
                std::erase(left, RELAY_FILE);
                if (failed != "unlink") {
                    EXPECT_EQ(expected == PM_ERROR_NO_BODY_BUFFER ? 1U : 0U, left.size());
                }
                EXPECT_EQ(0, testedSenders[0].send()); // the lock is free, or this hangs
            }
        }
    }
    EXPECT_LT(400, runs);
}

} // namespace
