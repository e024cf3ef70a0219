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

using std::string;
using Lines = std::vector<string>;

// A run of the mail relay, with the files' contents at that moment.
struct RelayRun {
    string line, messagePath, message, relay;
};

struct Script {
    std::map<string, string> values; // a key without a value cannot be read
    std::map<string, int> types;     // of attribute objects that are not strings
    std::map<string, int> results;   // of the calls that begin with the key; others give 0
    std::map<string, std::function<void()>> reactions; // to the calls that begin with the key
    std::vector<int> relayResults, threadIds;          // the first one first
    int failingAllocation = 0, failingCall = 0;        // count down; the one at 0 fails
    bool callFails = false;                            // the one that is being answered
    bool holdThreads = false;                          // threads are noted, but not started
    std::function<void()> duringRun;                   // outside of the script's lock
    Lines calls, log; // of a line of the log, level and module are the first two words
    Lines order;      // both, as a golden text has them
    std::function<bool(const string&)> hides; // lines of the log that are not in order
    std::vector<RelayRun> runs;
    bool detached = false, signalsOpen = false; // of the last thread
};
extern Script script;
extern std::recursive_mutex guard; // of the script
using Guard = std::lock_guard<std::recursive_mutex>;

// --- Steps: what is unusual in a case -------------------------------------------------

struct Step {
    string label;
    std::function<void()> apply;
};
using Steps = std::vector<Step>;

Step text(const string& key, const string& value); // a setting, attribute or value of the machine
Step typed(int objectType, const string& key, const string& value); // an attribute object
Step unreadable(const string& key);
Step fails(const string& call, int result = -1);    // each call that begins so
Step during(const string& call, const Step& step);  // at each call that begins so
Step relayResults(const std::vector<int>& results); // of the relay's runs; 0 after these
Step noMemory(int nth);                             // the nth allocation fails

inline constexpr const char* SERVER = "pm_str_email_server_address";
inline constexpr const char* AUTH = "alert_bool_smtp_auth_enable";
inline constexpr const char* USER = "alert_str_smtp_user";
inline constexpr const char* PASSWORD = "alert_str_smtp_password";
inline constexpr const char* MECHANISM = "alert_int_smtp_sasl";
inline constexpr const char* PRESENCE = "zuvastatus_bool_zuva_present";
inline constexpr const char* DIRECTORY_MODE = "pam_int_ad_enable_mode_pl";
inline constexpr const char* LDAP_MODE = "pam_int_ldap_enable_mode";
inline constexpr const char* SENDER_MAIL = "Norvu.Embedded.1#Remotehosts.1#SenderEmail";
inline constexpr const char* PREFIX = "Norvu.Embedded.1#Remotehosts.1#MessageSubjectPrefix";
inline constexpr const char* ENCRYPTION = "Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption";
inline constexpr const char* SMTP_PORT = "Norvu.Embedded.1#Remotehosts.1#smtpport";
inline constexpr const char* IPV4 = "Norvu.Embedded.1#IPv4.1#Enable";
inline constexpr const char* IPV6 = "Norvu.Embedded.1#IPv6.1#Enable";
inline constexpr const char* IPV4_ADDRESS = "Norvu.Embedded.1#IPv4.1#Address";
inline constexpr const char* IPV6_ADDRESS = "Norvu.Embedded.1#IPv6.1#Address1";
inline constexpr const char* HOST_NAME = "Norvu.Embedded.1#network.1#dnsnvcname";
inline constexpr const char* REGISTERED = "Norvu.Embedded.1#network.1#dnsregister";
inline constexpr const char* TRAP_PORT = "Norvu.Embedded.1#SNMP.1#AlertPort";
inline constexpr const char* TRAP_DESTINATION = "Norvu.Embedded.1#SNMPAlert.2#Destination";
inline constexpr const char* TRAP_STATE = "Norvu.Embedded.1#SNMPAlert.2#State";
string enabledKey(int destination); // pm_bool_email_alert1_enabled, and so on
string subjectKey(int destination); // pm_str_email_alert1_subject, and so on
string addressKey(int destination);
string bodyKey(int destination);
// Values of the machine: "domain", "chassis", "host name" (with its leading byte),
// "community", "guid", "clock", "bus reply", and "servers", such as "64".

// --- What the tests ask ----------------------------------------------------------------

// Notes a call, does what is to be done at it, and gives its result.
int outcome(const string& call);
// Fills the buffer as the platform may: without a terminator where the text fills it,
// and with rubbish where the read fails.
bool giveText(const string& key, void* buffer, size_t size);
void* platformBlock(size_t size); // cleared, for pm to release; no test makes it fail
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

inline const string DATE = "Date: Tue, 14 Nov 2023 22:13:20 +0100\n";

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
