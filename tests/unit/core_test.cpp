// The process: options, signals, settings, the service thread, subscriptions and callbacks.
#include <csignal>
#include <unistd.h>

#include "common/signals.h"
#include "core/options.h"
#include "core/persistent_parameters.h"
#include "core/service_thread.h"
#include "core/service_thread_start.h"
#include "core/signals.h"
#include "core/tables.h"
#include "platform/logging.h"
#include "requests.h"

namespace {

class Core : public Cases {};

const int DEFAULTS_AT_START = factoryDefaults;
constexpr const char* USAGE =
    " unknown \nUsage:\n      -debug (-d) debug mode\n      -factorydefaults (-fd) factory defaults\n\n";

TEST_F(Core, TakesOptionsUpToAnUnknownOne) {
    const std::tuple<Lines, int, int, string> rows[] = {
        // trace, factory defaults, output
        {{"pm"}, 0, 0, ""},
        {{"pm", "-DEBUG"}, 1, 0, "argc:1 argv[n]:-DEBUG\n"},
        {{"pm", "-d", "-FactoryDefaults"}, 1, 1, "argc:2 argv[n]:-FactoryDefaults\n"},
        {{"pm", "-fd", "-D", "-d"}, 0, 1, string("argc:2 argv[n]:-D\nargc:4 -D") + USAGE},
        {{"pm", "-FD"}, 0, 0, string("argc:2 -FD") + USAGE}};
    EXPECT_EQ(0, DEFAULTS_AT_START);
    for (auto [arguments, trace, factory, output] : rows) {
        begin({}, arguments.back());
        factoryDefaults = 0;
        std::vector<char*> argv;
        for (string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const bool isGood = parseOptions(static_cast<int>(arguments.size()), argv.data());
        EXPECT_EQ(isGood, output.find("Usage") == string::npos);
        EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with(output)) << output;
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
        EXPECT_EQ(trace, g_bTrace);
        EXPECT_EQ(factory, factoryDefaults);
        EXPECT_EQ(1U, called("buffering 1"));
    }
}

// Whether the signal is taken, and no other one beyond.
bool takesSignals() {
    installSignalHandler();
    return std::signal(29, SIG_DFL) == sigHandler && std::signal(30, SIG_DFL) == SIG_DFL;
}

TEST_F(Core, Signals) {
    for (const int harmless : {SIGCHLD, SIGUSR1, SIGPIPE}) {
        errno = EBADF;
        sigHandler(harmless);
        EXPECT_EQ(EBADF, errno);
    }
    EXPECT_EQ(SIG_IGN, std::signal(SIGPIPE, SIG_DFL)) << "from the first one on it is ignored";
    EXPECT_EXIT(sigHandler(SIGTERM), testing::ExitedWithCode(1), "^$");
    EXPECT_EXIT(sigHandler(SIGBUS), testing::ExitedWithCode(1), "SIGBUS .bad memory access.\n$");
    EXPECT_EXIT(_exit(takesSignals() ? 3 : 4), testing::ExitedWithCode(3), "");
    const Step usr1 = {"SIGUSR1", [] { sigHandler(SIGUSR1); }},
               slept = during("sleep 0", fails("sleep 0", 0));
    size_t left[] = {1, 1, 0}, n = 0; // signals to be logged
    check(
        "sleep", [] { return sleepThroughSignals(0), 0; },
        {{.calls = 1},
         {.given = {during("sleep 0", usr1)}, .calls = 1},
         {.given = {fails("sleep 0", 1), slept}, .calls = 2}},
        [&] {
            EXPECT_EQ(left[n++], logged("received SIGUSR1 signal"));
            EXPECT_EQ(script.calls.size(), called("sleep 0"));
        });
    const sigset_t set = allButFaults();
    for (const int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGTERM})
        EXPECT_EQ(sig == SIGTERM, sigismember(&set, sig));
}

const std::vector<Case> CREATION_CASES = {
    {.given = {fails("thread attributes", 11)}, .status = -1, .log = "pthread_attr_init failed ::"},
    {.given = {fails("thread detached", 11)}, .status = -2, .log = "setdetachstate failed ::"},
    {.given = {fails("thread created", 11)}, .status = -3, .log = "pthread_create failed :: Error"},
    {.name = "sound", .given = {{"no start", [] { script.holdThreads = true; }}}, .calls = 3}};

// Without a case the thread ends with -1 when its loop ends. What the last one leaves is checked.
const std::vector<Case> SERVICE_CASES = {
    {.given = {fails("client", 4)}, .status = -1, .calls = 1, .log = "failed, status 4. Exiting!!"},
    {.given = {text("no client", "")}, .status = -1, .calls = 1, .log = "failed, status 0."},
    {.given = {fails("actor1", 6)}, .status = -1, .calls = 3, .log = "create zactor, status = 6\n"},
    {.given = {text("no actor1", "")}, .status = -1, .calls = 3, .log = "Exiting!! status = 0"},
    {.given = {fails("actor2", 7)}, .status = -1, .calls = 9, .log = "Exiting!! status = 7"},
    {.given = {text("no actor2", "")}, .status = -1, .calls = 9, .log = "Exiting!! status = 0"},
    {.given = {fails("register pm_function_sendTestT", 8)}, .status = -1, .log = "Trap status ="}};

TEST_F(Core, ServiceThread) {
    check("creation", create_PM_LQORN_thread, CREATION_CASES);
    EXPECT_TRUE(script.detached);
    EXPECT_FALSE(script.signalsOpen) << "a signal would end the loop";
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(0, sigismember(&mask, SIGTERM)) << "the main thread takes the signals";
    check(
        "run", [] { return exitStatusOf([] { PM_LQORNThread(nullptr); }); }, SERVICE_CASES);
    EXPECT_EQ(1U, called("end client")) << "a function that is not registered ends nothing";
    for (const FunctionRow* row : {pmEmailFunctionTable, pmTrapFunctionTable}) {
        for (; row->name != nullptr; ++row)
            EXPECT_EQ(0U, row->unused) << row->name;
        EXPECT_EQ(0U, row->unused);
    }
}

TEST_F(Core, SettingsAndSubscriptions) {
    const Step product = text("NVC/productinfo", ""), description = text("NVC/description", "x");
    const std::vector<Case> seeded = {{.given = {description, product}, .calls = 3}},
                            kept = {{.given = {description, product}, .calls = 5}},
                            failed = {{.given = {fails("set")},
                                       .calls = 5,
                                       .log = "could not set string for NVC/productinfo"}};
    const auto seed = [] { return initPersistentParameters(), 0; };
    factoryDefaults = 0;
    check("there", seed, seeded);
    check("failed", seed, failed);
    factoryDefaults = 1;
    check("factory defaults", seed, kept);
    EXPECT_EQ(1U, called("init /etc/pm.conf 1"));
    factoryDefaults = 0;
    const string topic = "subscribe 77 CfgMgr$1$AttributeChange$norvu.embedded.1#snmp";
    const Step bad = fails(topic + ".1#", 4), bad8 = fails(topic + "alert.8#", 3),
               mended = during("sleep 5", fails(topic + ".1#", 0));
    check("subscriptions", [] { return subscribeConfigNotificationsRetry(), 0; },
          {{.calls = 10},
           {.given = {fails("subscriber", 5)}, .calls = 13, .log = "Subscribe failed: err=5"},
           {.given = {bad, bad8}, .calls = 76, .log = "cm notification for rc = 7"},
           {.given = {bad, mended}, .calls = 21}});
}

TEST_F(Core, Callbacks) {
    const auto event = [](const string& topic, uint16_t type) {
        return [=] { return notify(pmEventCallback, topic, type); };
    };
    const auto snmp = [](const string& name) {
        return [=] { return notify(snmpConfigNotificationCallback, "t", 77, name, 0); };
    };
    for (const auto callback :
         {pmEventCallback, snmpConfigNotificationCallback, MiscAttributeChangeCallback})
        check("null", [=] { return callback(nullptr, "t", nullptr); }, {{.calls = 0}});
    EXPECT_EQ(1U,
              logged("2 220 MiscAttributeChangeCallback(): Invalid notification header, NULL!"));
    check("type", event("event_ipmi_pet", 1), {{.calls = 0, .log = "HeaderType=1, Size=785."}});
    check("topic", event("event_ipmi_pet2", 3), {{.calls = 0}});
    check("topic", event("ipmi_lockdown_config", 3), {{.calls = 0}});
    check(
        "restart", event("qelctl_event_config_changed", 3),
        {{.given = {fails("function")}, .call = "exec systemctl restart qelctl_ipmiextd.service"}});
    check("no name", snmp(""), {{.calls = 0}});
    check("event", snmp("x"),
          {{.given = {fails("event")}, .calls = 1, .log = "notification callback."}});
}

const Step AD = text(AD_MODE, "1"), LDAP = text(LDAP_MODE, "1"), AD_2 = text(AD_MODE, "2"),
           LDAP_2 = text(LDAP_MODE, "2"), NOT_SET = fails("set");
const std::vector<Case> AD_CASES = {
    {.given = {text(AD_MODE, "0")}, .calls = 2, .call = "log_rlog 2"},
    {.given = {AD, LDAP, NOT_SET}, .calls = 4, .log = "not set the value of"},
    {.given = {AD, LDAP_2}, .calls = 3, .call = "log_rlog 1"},
    {.given = {AD}, .calls = 3},
    {.calls = 1, .log = "could not get the value of CONFIG_AD_ENABLE_MODE"}};
const std::vector<Case> LDAP_CASES = {
    {.given = {AD, LDAP}, .calls = 3, .call = "set pam_int_ad_ena", .log = "AD has been disabled"},
    {.given = {AD, LDAP, NOT_SET}, .calls = 3, .log = "not set the value of CONFIG_AD_ENABLE_MODE"},
    {.given = {LDAP}, .calls = 2},
    {.given = {AD_2, LDAP}, .calls = 2},
    {.given = {AD, LDAP_2}, .calls = 1},
    {.calls = 1, .log = "could not get the value of CONFIG_LDAP_ENABLE_MODE"}};

TEST_F(Core, DirectoryServicesAreNotOnTogether) {
    const auto changed = [](const string& name, uint16_t type = 1, uint32_t size = 56) {
        return [=] { return notify(MiscAttributeChangeCallback, "t", type, name, size); };
    };
    check("AD", changed("Norvu.Embedded.1#ActiveDirectory.1#Enable"), AD_CASES);
    check("LDAP", changed("norvu.embedded.1#ldap.1#ENABLE-and-more"), LDAP_CASES);
    const string name = "norvu.embedded.1#ldap.1#enabl";
    for (const auto& other : {changed(name), changed(name + "e", 3), changed(name + "e", 0),
                              changed(name + "e", 1, 55)})
        check("other", other, {{.given = {AD, LDAP}, .calls = 0}});
    EXPECT_EQ(1U, logged("Unsupported notification type"));
}

} // namespace
