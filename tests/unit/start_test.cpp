// Start-up: options, seeding, subscription, the service thread and its tables.
#include <csignal>

#include "core/config_subscription.h"
#include "core/process.h"
#include "core/service_thread.h"
#include "platform/logging.h"
#include "scripted_platform.h"

namespace {

class Start : public Scripted {};

TEST_F(Start, Options) {
    const string usage = "Usage:\n      -debug (-d) debug mode\n"
                         "      -factorydefaults (-fd) factory defaults\n\n";
    const Rows<Lines, bool, int, int, string> cases = {
        // ..., trace, factory, printed
        {{"pm"}, true, 0, 0, ""},
        {{"pm", "-DEBUG"}, true, 1, 0, "argc:1 argv[n]:-DEBUG\n"},
        {{"pm", "-d", "-FactoryDefaults"},
         true,
         1,
         1,
         "argc:1 argv[n]:-d\nargc:2 argv[n]:-FactoryDefaults\n"},
        {{"pm", "-fd", "-D", "-d"},
         false,
         0,
         1,
         "argc:1 argv[n]:-fd\nargc:2 argv[n]:-D\nargc:4 -D unknown \n" + usage},
        {{"pm", "-FD"}, false, 0, 0, "argc:1 argv[n]:-FD\nargc:2 -FD unknown \n" + usage}};
    for (auto [arguments, good, trace, factory, printed] : cases) {
        restart("", printed);
        std::vector<char*> argv;
        for (string& argument : arguments)
            argv.push_back(argument.data());
        testing::internal::CaptureStdout();
        EXPECT_EQ(good, parseOptions(static_cast<int>(argv.size()), argv.data()));
        EXPECT_EQ(printed, testing::internal::GetCapturedStdout());
        EXPECT_EQ(trace, g_bTrace);
        EXPECT_EQ(factory, factoryDefaults);
    }
}

TEST_F(Start, SeedsMissingTextsOrAllForFactoryDefaults) {
    const string readFirst = "str NVC/description 1024", readSecond = "str NVC/productinfo 1024",
                 setFirst = "set NVC/description This system component provides a complete set of "
                            "remote management functions for Braxel Vantline servers 1",
                 setSecond = "set NVC/productinfo Norvu Controller 6 1",
                 failed = "[]: initPersistentParameters() - could not set string for NVC/",
                 present = "NVC/description=x|NVC/productinfo=";
    const Rows<int, string, Lines, Lines> cases = {
        // factory, steps, calls, log
        {0, present, {"init /etc/pm.conf 0", readFirst, readSecond}, {}},
        {0, "", {"init /etc/pm.conf 0", readFirst, setFirst, readSecond, setSecond}, {}},
        {1, present, {"init /etc/pm.conf 1", readFirst, setFirst, readSecond, setSecond}, {}},
        {0,
         "set?1",
         {"init /etc/pm.conf 0", readFirst, setFirst, readSecond, setSecond},
         {failed + "description\n", failed + "productinfo\n"}}};
    for (const auto& [factory, steps, calls, log] : cases) {
        restart(steps);
        factoryDefaults = static_cast<uint8_t>(factory);
        initPersistentParameters();
        EXPECT_EQ(calls, script.calls);
        EXPECT_EQ(log, script.log);
    }
}

TEST_F(Start, SubscribesNineTopicsAtEachOfSevenAttempts) {
    const string topic = "subscribe 77 CfgMgr$1$AttributeChange$norvu.embedded.1#snmp";
    Lines attempt = {"subscriber SNMP", topic + ".1#"};
    for (const char n : {'1', '2', '3', '4', '5', '6', '7', '8'})
        attempt.push_back((topic + "alert.").append(1, n).append("#"));
    subscribeConfigNotificationsRetry();
    EXPECT_EQ(attempt, script.calls);
    EXPECT_EQ((Lines{"enter\n", ".\n", "cm notification for rc = 0\n", "exit\n"}),
              startingWith(script.log, "[]: "));

    restart(topic + ".1#?4|" + topic + "alert.8#?3");
    subscribeConfigNotificationsRetry();
    Lines seven = attempt;
    for (int i = 0; i < 6; ++i) {
        seven.push_back("sleep 5");
        seven.insert(seven.end(), attempt.begin(), attempt.end());
    }
    EXPECT_EQ(seven, script.calls);
    EXPECT_EQ(6U, logged("CfgMgr Notification Subscribe failed: err=7\n"));
    EXPECT_EQ(7U, logged("cm notification for rc = 7\n"));

    restart("subscriber?5");
    EXPECT_EQ(5, subscribeConfigNotifications());
    EXPECT_EQ((Lines{"subscriber SNMP"}), script.calls);
    EXPECT_EQ("[]: jelmux subscriber init rc = 5\n", script.log.back());
}

TEST_F(Start, CreatesTheServiceThreadDetached) {
    const char* cases[][2] = {{"thread attributes?11", "attr_init"},
                              {"thread detached?11", "setdetachstate"},
                              {"thread created?11", "create"}};
    for (int i = 0; i < 3; ++i) {
        restart(cases[i][0]);
        EXPECT_EQ(-1 - i, create_PM_LQORN_thread());
        EXPECT_EQ((Lines{string("2/220 create_PM_LQORN_thread : pthread_") + cases[i][1] +
                         " failed :: Error Resource temporarily unavailable"}),
                  script.log);
    }
    restart("");
    script.holdThreads = true;
    EXPECT_EQ(0, create_PM_LQORN_thread());
    EXPECT_EQ(reinterpret_cast<const void*>(PM_LQORNThread), script.routine);
    EXPECT_TRUE(script.detached);
    EXPECT_FALSE(script.signalsOpen) << "a signal would end the loop";
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(0, sigismember(&mask, SIGTERM)) << "the main thread takes the signals";
}

const string CLIENT =
    "client email_trap_lqorn 220 26 event_ipmi_pet 1 qelctl_event_config_changed 1 "
    "ipmi_lockdown_config 1 "
    "CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$ 1";
const Lines SERVICE = {CLIENT,
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
    EXPECT_EQ("6/220 PM_LQORNThread(): Thread started...", script.log.front());
    EXPECT_EQ("1/220 pm process exiting...", script.log.back());
    EXPECT_EQ(2U, countOf(script.log, "5/220 create_zactor: Created zactor\n"));
    EXPECT_EQ(1U, countOf(script.log, "2/220 register_table() Failed to register function "
                                      "pm_function_sendAlertEmail status = 8"));
    EXPECT_EQ(7U,
              startingWith(script.log, "5/220 register_table(): Registered function pm_").size());

    const string client = "PM_LQORNThread(): libqorn init failed, status ",
                 actor = "create_zactor: Failed to create zactor, status = ",
                 exiting = "PM_LQORNThread(): Failed creating zactor! Exiting!! status = ";
    const Rows<string, int, Lines> cases = {// steps, calls made, lines at level 1
                                            {"client?4", 1, {client + "4. Exiting!! "}},
                                            {"no client?1", 1, {client + "0. Exiting!! "}},
                                            {"actor1?6", 2, {actor + "6\n", exiting + "6"}},
                                            {"no actor1?1", 2, {actor + "0\n", exiting + "0"}},
                                            {"no actor2?1", 8, {actor + "0\n", exiting + "0"}}};
    for (const auto& [steps, calls, lines] : cases) {
        restart(steps);
        EXPECT_EQ(-1, exitStatusOf([] { PM_LQORNThread(nullptr); }));
        EXPECT_EQ(Lines(SERVICE.begin(), SERVICE.begin() + calls), script.calls);
        EXPECT_EQ(lines, startingWith(script.log, "1/220 "));
    }
}

} // namespace
