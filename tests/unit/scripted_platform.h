// The platform and system calls as the tests script them. Each outside call of pm's
// operations is answered from the script, and noted in it.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "mail/attempt.h"

using namespace pm;
using std::string;
using Lines = std::vector<string>;

// --- Steps: what is unusual in a case -------------------------------------------------

struct Step {
    string label;
    std::function<void()> apply;
};
using Steps = std::vector<Step>;

Step text(const string& key, const string& value); // a setting, attribute or value of the machine
Step typed(int type, const string& key, const string& value); // the same, an object of that type
Step unreadable(const string& key);
Step fails(const string& call, int result = -1);    // each outside call that begins so
Step during(const string& call, const Step& step);  // at each outside call that begins so
Step relayResults(const std::vector<int>& results); // of the relay's runs; 0 after these
Step noMemory(size_t nth);                          // the nth allocation fails

// Values of the machine are "domain", "chassis", "host name" (with its leading byte),
// "community", "guid", "clock", "bus reply", and "servers" (their families, such as "64").
inline const string SERVER = "pm_str_email_server_address", AUTH = "alert_bool_smtp_auth_enable",
                    USER = "alert_str_smtp_user", PASSWORD = "alert_str_smtp_password",
                    MECHANISM = "alert_int_smtp_sasl", PRESENCE = "zuvastatus_bool_zuva_present",
                    AD_MODE = "pam_int_ad_enable_mode_pl", LDAP_MODE = "pam_int_ldap_enable_mode";
inline const string ROOT = "Norvu.Embedded.1#", SENDER = ROOT + "Remotehosts.1#SenderEmail",
                    PREFIX = ROOT + "Remotehosts.1#MessageSubjectPrefix",
                    ENCRYPTION = ROOT + "Remotehosts.1#ConnectionEncryption",
                    SMTP_PORT = ROOT + "Remotehosts.1#smtpport", IPV4 = ROOT + "IPv4.1#Enable",
                    IPV6 = ROOT + "IPv6.1#Enable", ADDRESS4 = ROOT + "IPv4.1#Address",
                    ADDRESS6 = ROOT + "IPv6.1#Address1", HOST = ROOT + "network.1#dnsnvcname",
                    REGISTERED = ROOT + "network.1#dnsregister",
                    TRAP_PORT = ROOT + "SNMP.1#AlertPort", TRAP_STATE = ROOT + "SNMPAlert.2#State",
                    TRAP_ADDRESS = ROOT + "SNMPAlert.2#Destination";
string enabledKey(int destination); // pm_bool_email_alert1_enabled, and so on
string addressKey(int destination); // pm_str_email_alert1_destination
string subjectKey(int destination); // pm_str_email_alert1_subject
string bodyKey(int destination);    // pm_str_email_alert1_body

// --- The script, and what the tests ask -------------------------------------------------

// A run of the mail relay, with the files' contents at that moment.
struct RelayRun {
    string messagePath, message, relay; // the relay configuration
};

struct Script {
    std::map<string, string> values; // a key without a value cannot be read
    std::map<string, int> types;     // of attribute objects that are not strings
    std::map<string, int> results;   // of the calls that begin with the key; others give 0
    std::map<string, std::function<void()>> reactions; // to the calls that begin with the key
    std::vector<int> relayResults, threadIds;          // the first one first
    size_t failingAllocation = 0, failingCall = 0;     // count down; the one at 0 fails
    bool holdThreads = false;                          // threads are noted, but not started
    std::function<void()> duringRun;                   // outside of the script's lock
    std::function<bool(const string&)> hides;          // lines of the log that are not in order
    bool quiet = false;                                // order takes no calls
    Lines calls, log, order; // level and module begin a line of the log; order has both
    std::vector<RelayRun> runs;
    bool detached = false, signalsOpen = false; // of the last thread
};
extern Script script;
extern std::recursive_mutex guard; // of the script
using Guard = std::lock_guard<std::recursive_mutex>;

// Notes a call, does what is to be done at it, and gives its result.
int outcome(const string& call);
// Fills the buffer as the platform may: without a terminator where the text fills it,
// and with rubbish where the read fails.
bool giveText(const string& call, const string& key, void* buffer, size_t size);
void* platformBlock(size_t size, const void* content = nullptr); // for pm to release
template <typename... Words>
string words(const Words&... all) {
    std::stringstream text;
    ((text << all << ' '), ...);
    return text.str().substr(0, text.str().size() - 1);
}
// An outside call that does no more than give a value.
#define ANSWER(type, name, parameters, ...)                                                        \
    type name parameters {                                                                         \
        return __VA_ARGS__;                                                                        \
    }

size_t liveBlocks(); // of the plain heap, taken since forgetBlocks() and not released
void forgetBlocks();
int exitStatusOf(const std::function<void()>& routine);
size_t called(const string& start); // calls that begin so
size_t logged(const string& part);  // lines of the log that hold it
string contentOf(const string& path);
Lines mailFiles(); // that are there, sorted

// Starts each test from sound settings, clean files and lowered flags.
class Scripted : public testing::Test {
  protected:
    void SetUp() override { begin({}); }
    void TearDown() override;
    // The same for each row of a table. Name and steps are shown where the row fails.
    void begin(const Steps& given, const string& name = "");

  private:
    std::unique_ptr<testing::ScopedTrace> m_trace;
};
