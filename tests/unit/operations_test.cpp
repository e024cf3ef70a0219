// Each operation and callback: compares a successful run with a golden text, then makes each
// outside call and allocation fail in turn.
#include <cstdlib>
#include <fstream>
#include <regex>

#include "core/persistent_parameters.h"
#include "core/service_thread.h"
#include "requests.h"

namespace {

const Steps NONE = {},
            ONLY_4 = {text(enabledKey(1), "0"), text(enabledKey(2), "0"), text(enabledKey(3), "0")},
            BOTH_ON = {text(AD_MODE, "1"), text(LDAP_MODE, "1")};
const struct {
    string name; // also of the golden text
    std::function<int32_t()> run;
    Steps given = {};
    int32_t status = 0;
} operations[] = {
    {"sendEmail", senders[0].send},
    {"sendTestEmail", senders[1].send},
    {"sendAlertEmail", senders[2].send},
    {"sendGenericEmail", senders[3].send},
    {"sendEmailAlertsEx", [] { return send(sendEmailAlertsEx, alertsRequest("", "s")); }, ONLY_4},
    {"sendTestEmailEx", [] { return send(sendTestEmailEx, IndexRequest{2}); }},
    {"sendIPMITestTrap", [] { return send(sendIPMITestTrap, IndexRequest{2}); }},
    {"sendTestTrap", [] { return send(sendTestTrap, IndexRequest{2}); }},
    {"event_ipmi_pet", [] { return notify(pmEventCallback, "event_ipmi_pet", 3); }, ONLY_4},
    {"config_changed", [] { return notify(pmEventCallback, "qelctl_event_config_changed", 3); }},
    {"directory", [] { return notify(MiscAttributeChangeCallback, "t", 1, AD_ENABLE); }, BOTH_ON},
    {"snmp", [] { return notify(snmpConfigNotificationCallback, "t", 1, "any"); }},
    {"settings", [] { return initPersistentParameters(), 0; }},
    {"subscriptions", subscribeConfigNotifications},
    {"service", [] { return exitStatusOf([] { PM_LQORNThread(nullptr); }); }, NONE, -1}};

class Operations : public Scripted {};

// golden/NAME.txt has log lines and outside calls in order. With PM_GOLDEN=1 in the environment
// the test writes these files: read each difference before you commit it. Lines that operations
// share are listed once, in sendEmail.txt.
TEST_F(Operations, SoundRunsAreAsTheirGoldenTexts) {
    static const std::regex HELPERS(
        "getDomainLiteral|get(SMTP|EmailEnc|Attr|SenderEmail|Curr)|GetHostname|WriteEmailConfig");
    for (const auto& operation : operations) {
        begin(operation.given, operation.name);
        if (operation.name != "sendEmail")
            script.hides = [](const string& line) {
                const bool begins = line.find("Entering sendEmail()") != line.npos;
                script.quiet = begins || (script.quiet && line.find("Exiting") == line.npos);
                return script.quiet || std::regex_search(line, HELPERS);
            };
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
    Steps given = {text(AUTH, "1"), text(USER, "u"), text(PASSWORD, "p"), text(PREFIX, "[x]")};
    std::vector all(std::begin(operations), std::end(operations));
    all.insert(all.begin(), {"placeholder", [] { return sendEmail("a@b", "s", "[]"); }});
    for (const auto& operation : all) {
        given.insert(given.end(), operation.given.begin(), operation.given.end());
        for (size_t nth = 1, left = 0; left == 0; ++nth) {
            for (size_t Script::*const kind : {&Script::failingAllocation, &Script::failingCall}) {
                begin(given, words(operation.name, nth));
                script.*kind = nth;
                const int32_t status = operation.run();
                left = script.*kind;
                const bool isSender = &operation < &all[5];
                const bool noThread = logged("sendGenericEmail() - ERROR") > 0; // with status 0
                EXPECT_TRUE(!isSender || noThread || (status == 0) != script.runs.empty());
                const bool mayStay = logged("status -9") > 0 || script.calls.size() < nth ||
                                     script.calls[nth - 1].starts_with("unlink");
                Lines files = mailFiles();
                std::erase(files, RELAY_CONFIG_PATH);
                EXPECT_TRUE(files.empty() || mayStay) << files[0];
                script.*kind = 0;
                EXPECT_EQ(0, senders[0].send()) << "a lock is held";
            }
        }
    }
}

} // namespace
