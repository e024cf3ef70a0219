// Each operation and callback: its sound run as a golden text, and each of its outside calls
// and allocations made to fail in turn.
#include <cstdlib>
#include <fstream>
#include <regex>

#include "core/process.h"
#include "core/service_thread.h"
#include "requests.h"

namespace {

const Steps ONE_DESTINATION = {text(enabledKey(1), "0"), text(enabledKey(2), "0"),
                               text(enabledKey(3), "0")};

const std::regex HELPERS("getDomainLiteral|get(SMTPPort|EmailEncrypt|Attribute|SenderEmail|Curr)|"
                         "GetHostname|WriteEmailConfig|sendEmail(\\(|')");

const struct {
    string name; // of the golden text
    Operation run;
    Steps given = {};
    int32_t status = 0;
} operations[] = {
    {.name = "sendEmail", .run = senders[0].send},
    {.name = "sendTestEmail", .run = senders[1].send},
    {.name = "sendAlertEmail", .run = senders[2].send},
    {.name = "sendGenericEmail", .run = senders[3].send},
    {.name = "sendEmailAlertsEx",
     .run = [] { return send(sendEmailAlertsEx, alertsRequest("", "Subject")); },
     .given = ONE_DESTINATION},
    {.name = "sendTestEmailEx", .run = sendIndex<sendTestEmailEx>},
    {.name = "sendIPMITestTrap", .run = sendIndex<sendIPMITestTrap>},
    {.name = "sendTestTrap", .run = sendIndex<sendTestTrap>},
    {.name = "event_ipmi_pet",
     .run = [] { return notify(pmEventCallback, "event_ipmi_pet", 3); },
     .given = ONE_DESTINATION},
    {.name = "qelctl_event_config_changed",
     .run = [] { return notify(pmEventCallback, "qelctl_event_config_changed", 3); }},
    {.name = "MiscAttributeChangeCallback",
     .run = [] { return notify(MiscAttributeChangeCallback, "t", 1, DIRECTORY_ENABLE); },
     .given = {text(DIRECTORY_MODE, "1"), text(LDAP_MODE, "1")}},
    {.name = "snmpConfigNotificationCallback",
     .run = [] { return notify(snmpConfigNotificationCallback, "t", 1, "any"); }},
    {.name = "initPersistentParameters", .run = [] { return initPersistentParameters(), 0; }},
    {.name = "subscribeConfigNotifications", .run = subscribeConfigNotifications},
    {.name = "PM_LQORNThread",
     .run = [] { return exitStatusOf([] { PM_LQORNThread(nullptr); }); },
     .status = -1}};

class Operations : public Scripted {};

// golden/NAME.txt has log lines and outside calls in order; those of the helpers of mails and
// traps are in sendEmail.txt and sendIPMITestTrap.txt alone. With PM_GOLDEN=1 in the
// environment the test writes these files: read each difference before you commit it.
TEST_F(Operations, SoundRunsAreAsTheirGoldenTexts) {
    for (const auto& operation : operations) {
        begin(operation.given, operation.name);
        if (operation.name != "sendEmail" && operation.name != "sendIPMITestTrap")
            script.hides = [](const string& line) { return std::regex_search(line, HELPERS); };
        EXPECT_EQ(operation.status, operation.run());
        string actual;
        for (const string& line : script.order)
            actual += line + "\n";
        const string path = GOLDEN "/" + operation.name + ".txt";
        if (std::getenv("PM_GOLDEN") != nullptr)
            std::ofstream(path) << actual;
        EXPECT_EQ(contentOf(path), actual);
    }
}

TEST_F(Operations, EachFaultLeavesEverythingSound) {
    Steps given = {text(AUTH, "1"), text(USER, "u"), text(MECHANISM, "1"), text(PASSWORD, "p"),
                   text(PREFIX, "[x]")};
    for (const auto& operation : operations) {
        for (int nth = 1, left = 0; left == 0; ++nth) {
            for (int Script::*const failing : {&Script::failingCall, &Script::failingAllocation}) {
                begin(given, words(operation.name, nth));
                for (const Step& step : operation.given)
                    step.apply();
                script.*failing = nth;
                const int32_t status = operation.run();
                if (failing == &Script::failingCall)
                    left = script.failingCall;
                const bool isSender = &operation < &operations[4];
                EXPECT_TRUE(!isSender || logged("- ERROR : ") > 0 ||
                            (status == 0) == (script.runs.size() > 0))
                    << status;
                EXPECT_EQ(0U, liveBlocks());
                Lines files = mailFiles();
                std::erase(files, RELAY_CONFIG_PATH);
                const bool kept = logged("malloc() Failed") > 0; // stays for the next mail
                const bool unlinkFailed = left == 0 && script.calls.size() >= size_t(nth) &&
                                          script.calls[size_t(nth) - 1].starts_with("unlink");
                EXPECT_TRUE(files.empty() || kept || unlinkFailed) << files[0];
                script.failingCall = script.failingAllocation = 0;
                EXPECT_EQ(0, senders[0].send()) << "a lock is held, or a flag is wrong";
            }
        }
    }
}

} // namespace
