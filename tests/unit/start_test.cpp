// Start-up: options, seeding, subscription, the service thread and its tables.
#include <csignal>

#include "core/config_subscription.h"
#include "core/process.h"
#include "core/service_thread.h"
#include "platform/logging.h"
#include "scripted_platform.h"

namespace {

class Start : public Scripted {};

TEST_F(Start, TakesOptionsUpToAnUnknownOne) {
    const Rows<Lines, bool, int, int> cases = {
        // ..., trace, factory
        {{"pm"}, true, 0, 0},
        {{"pm", "-DEBUG"}, true, 1, 0},
        {{"pm", "-d", "-FactoryDefaults"}, true, 1, 1},
        {{"pm", "-fd", "-D", "-d"}, false, 0, 1},
        {{"pm", "-FD"}, false, 0, 0},
    };
    for (auto [arguments, good, trace, factory] : cases) {
        restart("", arguments.back());
        factoryDefaults = 0;
        std::vector<char*> argv;
        for (string& argument : arguments)
            argv.push_back(argument.data());
        testing::internal::CaptureStdout();
        EXPECT_EQ(good, parseOptions(static_cast<int>(argv.size()), argv.data()));
        EXPECT_EQ(good, testing::internal::GetCapturedStdout().find("Usage:") == string::npos);
        EXPECT_EQ(trace, g_bTrace);
        EXPECT_EQ(factory, factoryDefaults);
    }
}

TEST_F(Start, SeedsMissingTextsOrAllForFactoryDefaults) {
    const string present = "NVC/description=x|NVC/productinfo=";
    // factory, steps, texts that are set, lines of failed ones
    const Rows<int, string, size_t, size_t> cases = {
        {0, present, 0, 0}, {0, "", 2, 0}, {1, present, 2, 0}, {0, "set?1", 2, 2}};
    for (const auto& [factory, steps, set, failed] : cases) {
        restart(steps);
        factoryDefaults = static_cast<uint8_t>(factory);
        initPersistentParameters();
        factoryDefaults = 0;
        EXPECT_EQ(words("init /etc/pm.conf", factory), script.calls.front());
        EXPECT_EQ(set, startingWith(script.calls, "set NVC/").size()) << steps;
        EXPECT_EQ(failed, logged("initPersistentParameters() - could not set string for NVC/"));
    }
}

TEST_F(Start, CreatesTheServiceThreadDetachedAndWithoutSignals) {
    const char* steps[] = {"thread attributes?11", "thread detached?11", "thread created?11"};
    const char* calls[] = {"attr_init", "setdetachstate", "create"};
    for (int i = 0; i < 3; ++i) {
        restart(steps[i]);
        EXPECT_EQ(-1 - i, create_PM_LQORN_thread());
        EXPECT_EQ(1U, logged(string("create_PM_LQORN_thread : pthread_") + calls[i] +
                             " failed :: Error Resource temporarily unavailable"));
    }
    restart("");
    script.holdThreads = true;
    EXPECT_EQ(0, create_PM_LQORN_thread());
    EXPECT_TRUE(script.detached);
    EXPECT_FALSE(script.signalsOpen) << "a signal would end the loop";
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(0, sigismember(&mask, SIGTERM)) << "the main thread takes the signals";
}

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
