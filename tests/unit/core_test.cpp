// The process: options, signals, settings, the service thread, subscriptions and callbacks.
#include <csignal>

#include "core/process.h"
#include "core/service_thread.h"
#include "platform/logging.h"
#include "requests.h"

namespace {

class Core : public Cases {};

TEST_F(Core, TakesOptionsUpToAnUnknownOne) {
    const struct {
        Lines arguments;
        bool good;
        int trace, factory;
    } rows[] = {{{"pm"}, true, 0, 0},
                {{"pm", "-DEBUG"}, true, 1, 0},
                {{"pm", "-d", "-FactoryDefaults"}, true, 1, 1},
                {{"pm", "-fd", "-D", "-d"}, false, 0, 1},
                {{"pm", "-FD"}, false, 0, 0}};
    for (auto [arguments, good, trace, factory] : rows) {
        begin({}, arguments.back());
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

TEST_F(Core, SignalHandler) {
    for (const int harmless : {SIGCHLD, SIGUSR1, SIGPIPE}) {
        errno = EBADF;
        sigHandler(harmless);
        EXPECT_EQ(EBADF, errno);
    }
    EXPECT_EQ(SIG_IGN, std::signal(SIGPIPE, SIG_DFL)) << "from the first one on it is ignored";
    EXPECT_EXIT(sigHandler(SIGTERM), testing::ExitedWithCode(1), "^$");
    EXPECT_EXIT(sigHandler(SIGBUS), testing::ExitedWithCode(1),
                "fault: SIGBUS .bad memory access.\n$");
    check(
        "", [] { return sleepThroughSignals(1), 0; },
        {{.calls = 1, .log = "received SIGUSR1 signal"},
         {.given = {during("sleep 1", {"a signal", [] { sigHandler(SIGUSR1); }})},
          .log = "received SIGUSR1"},
         {.given = {fails("sleep", 1), during("sleep 0", fails("sleep", 0))}, .call = "sleep 0"}});
    const sigset_t set = allButFaults();
    for (const int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGTERM})
        EXPECT_EQ(sig == SIGTERM, sigismember(&set, sig));
}

TEST_F(Core, CreatesTheServiceThreadDetachedAndWithoutSignals) {
    check(
        "", create_PM_LQORN_thread,
        {{.given = {fails("thread attributes", 11)},
          .status = -1,
          .log = "2 220 create_PM_LQORN_thread : pthread_attr_init failed :: Error Resource temp"},
         {.given = {fails("thread detached", 11)},
          .status = -2,
          .log = "pthread_setdetachstate failed :: Error Res"},
         {.given = {fails("thread created", 11)},
          .status = -3,
          .log = "pthread_create failed :: Error Resource"}});
    begin({});
    script.holdThreads = true;
    EXPECT_EQ(0, create_PM_LQORN_thread());
    EXPECT_TRUE(script.detached);
    EXPECT_FALSE(script.signalsOpen) << "a signal would end the loop";
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(0, sigismember(&mask, SIGTERM)) << "the main thread takes the signals";
}

TEST_F(Core, ServiceThread) {
    const auto no = [](const string& what) { return text("no " + what, ""); };
    check("", [] { return exitStatusOf([] { PM_LQORNThread(nullptr); }); },
          {{.given = {fails("client", 4)},
            .status = -1,
            .calls = 1,
            .log = "libqorn init failed, status 4. Exiting!! "},
           {.given = {no("client")},
            .status = -1,
            .calls = 1,
            .log = "libqorn init failed, status 0. Exiting!! "},
           {.given = {fails("actor1", 6)},
            .status = -1,
            .calls = 3,
            .log = "Failed to create zactor, status = 6\n"},
           {.given = {no("actor1")},
            .status = -1,
            .calls = 3,
            .log = "Failed creating zactor! Exiting!! status = 0"},
           {.given = {no("actor2")},
            .status = -1,
            .calls = 9,
            .log = "Failed creating zactor! Exiting!! status = 0"},
           {.given = {fails("actor2", 7)},
            .status = -1,
            .calls = 9,
            .log = "Failed creating zactor! Exiting!! status = 7"},
           {.given = {fails("register pm_function_sendTestTrap", 8)},
            .status = -1,
            .call = "end client",
            .log = "register function pm_function_sendTestTrap status = 8"}});
    for (const FunctionRow* table : {pmEmailFunctionTable, pmTrapFunctionTable}) {
        for (; table->name != nullptr; ++table)
            EXPECT_EQ(0U, table->unused) << table->name;
    }
}

TEST_F(Core, SettingsAndSubscriptions) {
    const auto seed = [] { return initPersistentParameters(), 0; };
    const Step description = text("NVC/description", "x"), product = text("NVC/productinfo", "");
    factoryDefaults = 0;
    check(
        "settings", seed,
        {{.given = {description, product}, .calls = 3},
         {.given = {fails("set")}, .calls = 5, .log = "could not set string for NVC/productinfo"}});
    factoryDefaults = 1;
    check("factory defaults", seed,
          {{.given = {description, product}, .calls = 5, .call = "init /etc/pm.conf 1"}});
    factoryDefaults = 0;
    const string first = "subscribe 77 CfgMgr$1$AttributeChange$norvu.embedded.1#snmp.1#",
                 last = "subscribe 77 CfgMgr$1$AttributeChange$norvu.embedded.1#snmpalert.8#";
    check("subscriptions", [] { return subscribeConfigNotificationsRetry(), 0; },
          {{.calls = 10},
           {.given = {fails("subscriber", 5)},
            .calls = 13,
            .log = "CfgMgr Notification Subscribe failed: err=5"},
           {.given = {fails(first, 4), fails(last, 3)},
            .calls = 76,
            .log = "cm notification for rc = 7"},
           {.given = {fails(first, 4), during("sleep 5", fails(first, 0))}, .calls = 21}});
}

TEST_F(Core, Callbacks) {
    const auto event = [](const string& topic, uint16_t type) {
        return [=] { return notify(pmEventCallback, topic, type); };
    };
    const auto snmp = [](const string& name) {
        return [=] { return notify(snmpConfigNotificationCallback, "t", 77, name, 0); };
    };
    check("nothing", [] { return pmEventCallback(nullptr, "t", nullptr); },
          {{.calls = 0, .log = "2 220 pmEventCallback(): Invalid notification header, NULL!"}});
    check("other type", event("event_ipmi_pet", 1),
          {{.calls = 0, .log = "HeaderType=1, Size=785."}});
    check("other topic", event("event_ipmi_pet2", 3), {{.calls = 0}});
    check("other topic", event("ipmi_lockdown_config", 3), {{.calls = 0}});
    check("restart", event("qelctl_event_config_changed", 3),
          {{.given = {fails("function")},
            .calls = 2,
            .call = "exec systemctl restart qelctl_ipmiextd.service",
            .log = "sending this cmd to restart"}});
    check("nothing", [] { return snmpConfigNotificationCallback(nullptr, "t", nullptr); },
          {{.calls = 0}});
    check("no name", snmp(""), {{.calls = 0}});
    check("any name", snmp("x"),
          {{.given = {fails("event")}, .calls = 1, .log = "send pm_event_snmp_config_changed"}});
}

TEST_F(Core, DirectoryServicesAreNotOnTogether) {
    const Step ad = text(DIRECTORY_MODE, "1"), ldap = text(LDAP_MODE, "1"),
               ad2 = text(DIRECTORY_MODE, "2"), ldap2 = text(LDAP_MODE, "2"),
               noAd = text(DIRECTORY_MODE, "0");
    const auto changed = [](const string& name, uint16_t type = 1, uint32_t size = 56) {
        return [=] { return notify(MiscAttributeChangeCallback, "t", type, name, size); };
    };
    check("directory", changed("Norvu.Embedded.1#ActiveDirectory.1#Enable"),
          {{.given = {noAd}, .calls = 2, .call = "log_rlog 2"},
           {.given = {ad, ldap, fails("set")},
            .calls = 4,
            .log = "could not set the value of CONFIG_LDAP_ENABLE_MODE"},
           {.given = {ad, ldap2}, .calls = 3},
           {.given = {ad}, .calls = 3},
           {.calls = 1, .log = "could not get the value of CONFIG_AD_ENABLE_MODE"}});
    check("LDAP", changed("norvu.embedded.1#ldap.1#ENABLE-and-more"),
          {{.given = {ad, ldap},
            .calls = 3,
            .call = "set pam_int_ad_enable_mode_pl 0 1",
            .log = "AD has been disabled"},
           {.given = {ad, ldap, fails("set")},
            .calls = 3,
            .log = "could not set the value of CONFIG_AD_ENABLE_MODE"},
           {.given = {ldap}, .calls = 2},
           {.given = {ad2, ldap}, .calls = 2},
           {.given = {ad, ldap2}, .calls = 1},
           {.calls = 1, .log = "could not get the value of CONFIG_LDAP_ENABLE_MODE"}});
    const std::vector<Case> ignored = {{.given = {ad, ldap}, .calls = 0}};
    check("other name", changed("norvu.embedded.1#ldap.1#enabl"), ignored);
    check("type", changed(LDAP_ENABLE, 3),
          {{.given = {ad, ldap}, .calls = 0, .log = "Unsupported notification type"}});
    check("type", changed(LDAP_ENABLE, 0), ignored);
    check("size", changed(LDAP_ENABLE, 1, 55), ignored);
    check("nothing", [] { return MiscAttributeChangeCallback(nullptr, "t", nullptr); },
          {{.calls = 0,
            .log = "2 220 MiscAttributeChangeCallback(): Invalid notification header, NULL!"}});
}

} // namespace
