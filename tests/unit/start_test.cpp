// Start-up: subscription, the service thread and its tables.
#include "core/config_subscription.h"
#include "core/service_thread.h"
#include "scripted_platform.h"

namespace {

class Start : public Scripted {};

TEST_F(Start, SubscribesNineTopicsAtEachOfSevenAttempts) {
    const string topic = "subscribe 77 CfgMgr$1$AttributeChange$norvu.embedded.1#snmp";
    Lines attempt = {"subscriber SNMP", topic + ".1#"};
    for (const char n : {'1', '2', '3', '4', '5', '6', '7', '8'})
        attempt.push_back((topic + "alert.").append(1, n).append("#"));
    subscribeConfigNotificationsRetry();
    EXPECT_EQ(attempt, script.calls);

    restart(topic + ".1#?4|" + topic + "alert.8#?3");
    subscribeConfigNotificationsRetry();
    Lines seven = attempt;
    for (int i = 0; i < 6; ++i) {
        seven.push_back("sleep 5");
        seven.insert(seven.end(), attempt.begin(), attempt.end());
    }
    EXPECT_EQ(seven, script.calls);
    EXPECT_EQ(6U, logged("CfgMgr Notification Subscribe failed: err=7\n"));

    restart("subscriber?5");
    EXPECT_EQ(5, subscribeConfigNotifications());
    EXPECT_EQ((Lines{"subscriber SNMP"}), script.calls);
}

const Lines SERVICE = {"client email_trap_lqorn 220 26 event_ipmi_pet 1 "
                       "qelctl_event_config_changed 1 ipmi_lockdown_config 1 "
                       "CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$ 1",
                       "actor1 512",
                       "register pm_function_sendEmailAlertsEx 1 256",
                       "register pm_function_sendTestEmailEx 1 256",
                       "register pm_function_sendTestEmail 1 256",
                       "register pm_function_sendAlertEmail 1 256",
                       "register pm_function_sendGenericEmail 1 256",
                       "actor2 512",
                       "register pm_function_sendIPMITestTrap 2 256",
                       "register pm_function_sendSNMPTestTrap 2 256",
                       "register pm_function_sendTestTrap 2 256",
                       "loop with first actor 1",
                       "end actor 2",
                       "end actor 1",
                       "end client"};

TEST_F(Start, ServiceThreadReleasesInReverseOrderAndEnds) {
    change("register pm_function_sendAlertEmail?8");
    EXPECT_EQ(-1, exitStatusOf([] { PM_LQORNThread(nullptr); }));
    EXPECT_EQ(SERVICE, script.calls);
    EXPECT_EQ(1U, logged("register_table() Failed to register function "
                         "pm_function_sendAlertEmail status = 8"));
    // steps, calls made
    const Rows<string, int> cases = {{"client?4", 1},
                                     {"no client?1", 1},
                                     {"actor1?6", 2},
                                     {"no actor1?1", 2},
                                     {"no actor2?1", 8}};
    for (const auto& [steps, calls] : cases) {
        restart(steps);
        EXPECT_EQ(-1, exitStatusOf([] { PM_LQORNThread(nullptr); }));
        EXPECT_EQ(Lines(SERVICE.begin(), SERVICE.begin() + calls), script.calls);
        EXPECT_EQ(steps.find("client") == string::npos ? 2U : 1U,
                  startingWith(script.log, "1 220 ").size());
    }
}

} // namespace
