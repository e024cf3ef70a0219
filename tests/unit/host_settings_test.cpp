// Settings of the stand-in: file, store, run-time file, claim of the root.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/owner.h"
#include "platform/attribute_object.h"
#include "platform/attributes.h"
#include "platform/client/settings_file.h"
#include "platform/host/root.h"
#include "platform/host/store.h"
#include "platform/ipmi.h"
#include "platform/object_store.h"
#include "platform/settings.h"

namespace {

constexpr const char* SERVER = "pm_str_email_server_address";
constexpr const char* AD_SETTING = "pam_int_ad_enable_mode_pl";
constexpr const char* LDAP_SETTING = "pam_int_ldap_enable_mode";
constexpr const char* AD = "Norvu.Embedded.1#ActiveDirectory.1#Enable";
constexpr const char* LDAP = "Norvu.Embedded.1#LDAP.1#Enable";
constexpr const char* RUN_TIME = "/tmp/root/var/lib/pm/settings.toml";

constexpr const char* DAMAGED = "/tmp/root/var/lib/pm/settings.toml.damaged";
std::string g_error, g_changes;

pid_t startChild(const std::function<void()>& check) {
    const pid_t child = fork();
    if (child == 0) {
        check();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return child;
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}
std::string readFile(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

constexpr int NOT_POSSIBLE = 77;
// A process of its own each: what they share is on disk, as between two starts.
void inProcess(const std::function<void()>& check) {
    int status = -1;
    waitpid(startChild(check), &status, 0);
    if (WEXITSTATUS(status) == NOT_POSSIBLE)
        GTEST_SKIP() << "this machine gives no private /tmp";
    EXPECT_EQ(status, 0);
}

// A root and a /tmp of the check's own, gone with it.
void inOwnRoot(const std::function<void()>& check) {
    inProcess([&] {
        const auto idMap = [](auto id) { return "0 " + std::to_string(id) + " 1"; };
        const std::string users = idMap(geteuid()), groups = idMap(getegid());
        const bool root = geteuid() == 0;
        if (unshare(CLONE_NEWNS | (root ? 0 : CLONE_NEWUSER)) != 0)
            _exit(NOT_POSSIBLE);
        if (!root) {
            writeFile("/proc/self/setgroups", "deny");
            writeFile("/proc/self/uid_map", users);
            writeFile("/proc/self/gid_map", groups);
        }
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "/tmp", "tmpfs", 0, "size=512k") != 0)
            _exit(NOT_POSSIBLE);
        for (const char* folder : {"/tmp/root", "/tmp/root/etc"})
            ASSERT_EQ(mkdir(folder, 0755), 0);
        setenv("PM_HOST_ROOT", "/tmp/root", 1);
        check();
    });
}

bool load(bool factory = false) {
    return loadSettings("/etc/pm.conf", factory);
}
bool set(const char* key, const std::string& text) {
    g_error.clear();
    return setValue(key, text, g_error);
}
void expectTexts(const std::map<std::string, std::string>& texts) {
    for (const auto& [key, text] : texts)
        EXPECT_EQ(storedText(key).value_or("(none)"), text) << key;
}

struct BadFile {
    std::string text; // '|' for a line feed, SERVER for a sound line that must come through
    int line;
    const char* finding; // part of what is told of that line, and of no other
};

// clang-format off
const BadFile BAD_FILES[] = {
    {"[settings]|pm_str_email_server_adress = 'x'|SERVER", 2, "did you mean \"pm_str_email_server_address"},
    {"[settings]|pm_bool_email_alert1_enabled = 'yes'|SERVER", 2, "true or false"},
    {"[settings]|pm_str_email_alert4_subject = 5|SERVER", 2, "a text"},
    {"[settings]|SERVER|pm_str_email_alert5_subject = ''", 3, "no known"},
    {"[settings]|SERVER|alert_int_smtp_sasl = 2147483648", 3, "32 bits"},
    {"[settings]|alert_str_smtp_user = '" + std::string(274, 'u') + "'|SERVER", 2, "at most 273"},
    {"[settings]|SERVER|alert_str_smtp_user = \"a\\u0007\"", 3, "code 7"},
    {"[settings]|pm_str_email_alert1_body = \"a\\nb\"|SERVER|alert_str_smtp_user = \"a\\nb\"", 4, "code 10"},
    {"[settings]|alert_str_smtp_user = '\xff'|SERVER", 2, "syntax"},
    {"[settings]|alert_str_smtp_user = { enum = 'x' }|SERVER", 2, "a text"},
    {"[attributes]|'Norvu.Embedded.1#IPv4.1#Enable' = 'on'|[settings]|SERVER", 2, "whole number"},
    {"[attributes]|Norvu.Embedded.1#IPv4.1#Enable = 1|[settings]|SERVER", 2, "in quotes"},
    {"[attributes]|'Norvu.Embedded.1#ipv4.1#ENABLE' = 1|'Norvu.Embedded.1#IPv4.1#Enable' = 0|"
     "[settings]|SERVER", 3, "line 2 already"},
    {"[attributes]|'Norvu.Embedded.1#LDAP.1#Enable' = 1|[settings]|pam_int_ldap_enable_mode = 0|SERVER",
     4, "line 2 already"},
    {"alert_int_smtp_sasl = 1|[settings]|SERVER", 1, "outside the tables"},
    {"[settings]|alert_str_smtp_user = \"a|SERVER", 2, "syntax"},
    {"[settings]|alert_str_smtp_user = [ 1,|SERVER|", 2, "syntax"},
    {"[settings]|alert_str_smtp_user = \"\"\"a|SERVER||", 2, "syntax"},
    {"[settings|SERVER", 1, "syntax"},
    {"[settings]|SERVER|alert_str_smtp_user =", 3, "syntax"},
};
// clang-format on

TEST(HostSettingsFile, TellsWhatIsWrongAndLoadsTheRest) {
    for (const BadFile& bad : BAD_FILES) {
        SCOPED_TRACE(bad.text);
        std::string text = bad.text;
        std::replace(text.begin(), text.end(), '|', '\n');
        text.replace(text.rfind("SERVER"), 6, std::string(SERVER) + " = 'mail.example'");
        const SettingsFile file = parseSettings(text, "pm.conf");
        EXPECT_TRUE(std::any_of(file.entries.begin(), file.entries.end(), [](const auto& entry) {
            return entry.value.text == "mail.example";
        }));
        ASSERT_EQ(file.findings.size(), 1U);
        const std::string told = findingText(file.findings[0]);
        EXPECT_TRUE(told.starts_with("pm.conf:" + std::to_string(bad.line) + ": ")) << told;
        EXPECT_NE(told.find(bad.finding), std::string::npos) << told;
    }
    std::string hopeless = "[settings]\nalert_str_smtp_user = 'first'\n";
    for (int line = 0; line < 500; ++line)
        hopeless += "= [ \"\"\" {\n";
    const SettingsFile file = parseSettings(hopeless, "pm.conf");
    EXPECT_EQ(file.entries.size(), 1U);
    EXPECT_LT(file.findings.size(), 30U);
}

TEST(HostStore, RunTimeStandsBeforeFileBeforeDefault) {
    const std::string odd = "a\"b\\c 'd' # [e] \xC3\xA9";
    inOwnRoot([&] {
        writeFile("/tmp/root/etc/pm.conf", "[settings]\npm_str_email_server_address = 'file'\n"
                                           "[hardware]\nchassis_code = 'ABCDEFGH'");
        expectTexts({{SERVER, "0.0.0.0"}}); // nothing is loaded
        EXPECT_FALSE(set(SERVER, "early"));
        inProcess([&] {
            ASSERT_TRUE(load());
            expectTexts({{SERVER, "file"}});
            EXPECT_TRUE(set(SERVER, odd) && set("pm_str_email_alert2_body", "1\n\t2") &&
                        set("hardware.community", "c"))
                << g_error;
            EXPECT_EQ(vesk_config_set_str("NVC/description", "d", 1) & 1, 1);
            EXPECT_FALSE(set(SERVER, std::string(255, 'x')));
            EXPECT_FALSE(set("pm_str_email_server_adress", "x"));
            EXPECT_NE(g_error.find(SERVER), std::string::npos);
        });
        struct stat state {};
        ASSERT_EQ(stat(RUN_TIME, &state), 0);
        EXPECT_EQ(state.st_mode & 0777U, 0600U);
        inProcess([&] {
            ASSERT_TRUE(load());
            expectTexts(
                {{SERVER, odd}, {"pm_str_email_alert2_body", "1\n\t2"}, {"NVC/description", "d"}});
            ValueDescription description;
            EXPECT_TRUE(unsetValue(SERVER, g_error));
            EXPECT_TRUE(describeValue(SERVER, description, g_error));
            EXPECT_EQ(description.text + sourceName(description.source), "filepm.conf");
        });
        inProcess([&] { ASSERT_TRUE(load(true)); }); // the factory flag
        inProcess([&] {
            ASSERT_TRUE(load());
            expectTexts({{SERVER, "file"}, {"NVC/description", "(none)"}});
            char community[18] = {};
            EXPECT_NE(IPMIGetCommunityString_HW(community), 0);
            ipmi_chassis_code code{};
            EXPECT_EQ(IPMIGetOEMChassisCode_HW(&code), 0);
            EXPECT_EQ(std::memcmp(code.code, "ABCDEFGH", 8), 0);
        });
    });
}

TEST(HostStore, FailedWriteChangesNothing) {
    for (const bool full : {true, false})
        inOwnRoot([&] {
            ASSERT_TRUE(load() && set(SERVER, "before")) << g_error;
            const std::string disk = readFile(RUN_TIME);
            std::ofstream fill("/tmp/fill");
            while (full && fill << std::string(512, 'x') << std::flush) {
            }
            constexpr const char* FOLDER = "/tmp/root/var/lib/pm";
            ASSERT_EQ(mount(FOLDER, FOLDER, nullptr, MS_BIND, nullptr), 0);
            const unsigned long flags = MS_BIND | MS_REMOUNT | (full ? 0 : MS_RDONLY);
            ASSERT_EQ(mount("", FOLDER, nullptr, flags, nullptr), 0);
            EXPECT_FALSE(set(SERVER, std::string(254, 'x')));
            EXPECT_NE(g_error.find("cannot be written"), std::string::npos) << g_error;
            EXPECT_EQ(vesk_config_set_int(AD_SETTING, 1, 1) & 1, 0);
            expectTexts({{SERVER, "before"}, {AD, "0"}});
            EXPECT_EQ(readFile(RUN_TIME), disk);
        });
}

TEST(HostStore, KilledWriterLeavesOldOrNewAndDamageIsToldAndKept) {
    inOwnRoot([] {
        for (int round = 0; round < 20; ++round) {
            const pid_t writer = startChild([] {
                load();
                for (unsigned turn = 0;; ++turn)
                    set(SERVER, std::string(200, static_cast<char>('a' + turn % 26)));
            });
            usleep(static_cast<useconds_t>(3000 + round * 777)); // anywhere in the work
            kill(writer, SIGKILL);
            waitpid(writer, nullptr, 0);
            inProcess([] {
                ASSERT_TRUE(load());
                const std::string value = storedText(SERVER).value();
                EXPECT_TRUE(value == "0.0.0.0" || value == std::string(200, value[0])) << value;
            });
        }
        EXPECT_NE(access(DAMAGED, F_OK), 0);
        writeFile(RUN_TIME, readFile(RUN_TIME) + "\x01 rubbish");
        const std::string kept = readFile(RUN_TIME);
        testing::internal::CaptureStderr();
        ASSERT_TRUE(load());
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_NE(log.find("settings.toml:9: syntax"), std::string::npos) << log;
        EXPECT_TRUE(set("pm_str_email_alert1_body", "new"));
        EXPECT_NE(kept.find(storedText(SERVER).value()), std::string::npos);
        EXPECT_EQ(readFile(DAMAGED), kept);
    });
}

TEST(HostAttributes, AnyCaseAnyRoadAndTwoNamesForOneValue) {
    inOwnRoot([] {
        writeFile("/tmp/root/etc/pm.conf",
                  "[attributes]\n'Norvu.Embedded.1#Remotehosts.1#smtpport' = '587'\n"
                  "'Norvu.Embedded.1#SNMPAlert.8#State' = { enum = 'on' }");
        ASSERT_TRUE(load());
        setAttributeChangeHook([](const std::string& name) { g_changes += name + ' '; });
        int32_t number = 0;
        EXPECT_EQ(CfgGetAttributeInt("norvu.EMBEDDED.1#remotehosts.1#SMTPPORT", &number), 0);
        EXPECT_EQ(number, 587);
        char text[64];
        uint32_t size = 3; // one too few
        EXPECT_NE(CfgGetAttribute("Norvu.Embedded.1#SNMP.1#AlertPort", text, &size), 0);
        for (const auto& [key, value] : {std::pair("norvu.Embedded.1#snmpalert.8#State", "on"),
                                         {"Norvu.Embedded.1#SNMPAlert.8#Destination", ""},
                                         {"Norvu.Embedded.1#SNMP.1#AlertPort", "162"}}) {
            EXPECT_EQ(getAttributeObjectByKeyDbus(key, text, size = sizeof text), 0) << key;
            EXPECT_STREQ(text, value);
            EXPECT_EQ(CfgGetAttribute(key, text, &size), 0) << key;
            EXPECT_STREQ(text, value);
        }
        void* found = nullptr;
        ASSERT_EQ(client_get_obj_by_key("Norvu.Embedded.1#SNMPAlert.8#State", &found), 0);
        const HeapOwner<void> object(found);
        const char* view = nullptr;
        for (const uint32_t hostile : {1U, 95U, 99U, 0xFFFFFFFFU})
            EXPECT_NE(client_get_string_ptr(found, hostile, &view), 0);
        // A write of the same value is no change.
        EXPECT_TRUE(set("norvu.embedded.1#LDAP.1#enable", "1")) << g_error;
        for (const auto& [key, value] :
             {std::pair(LDAP_SETTING, 1), {AD_SETTING, 1}, {LDAP_SETTING, 0}})
            EXPECT_EQ(vesk_config_set_int(key, value, 1) & 1, 1);
        expectTexts({{AD, "1"}, {LDAP, "0"}, {AD_SETTING, "1"}, {LDAP_SETTING, "0"}});
        EXPECT_EQ(g_changes, "norvu.embedded.1#ldap.1#enable "
                             "norvu.embedded.1#activedirectory.1#enable "
                             "norvu.embedded.1#ldap.1#enable ");
    });
}

TEST(HostRoot, OnePmARootAndATmp) {
    inOwnRoot([] {
        ASSERT_TRUE(claimHost());
        EXPECT_TRUE(claimHost());
        for (const char* root : {"/tmp/root", "/tmp/root/etc"}) // the same; another, same /tmp
            inProcess([&] {
                setenv("PM_HOST_ROOT", root, 1);
                testing::internal::CaptureStderr();
                EXPECT_FALSE(claimHost());
                EXPECT_FALSE(claimHost());
                const std::string log = testing::internal::GetCapturedStderr();
                EXPECT_NE(log.find("process " + std::to_string(getppid())), std::string::npos);
                EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
            });
    });
    inOwnRoot([] {
        writeFile("/tmp/victim", "precious");
        ASSERT_EQ(symlink("/tmp/victim", "/tmp/pm.lock"), 0);
        EXPECT_FALSE(claimHost());
        EXPECT_EQ(readFile("/tmp/victim"), "precious");
    });
}

} // namespace
