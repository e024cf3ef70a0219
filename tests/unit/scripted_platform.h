// A scripted platform: answers each outside call of pm's operations from the script, and
// records it there.
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

template <typename... Words>
string words(const Words&... all) {
    std::stringstream text;
    ((text << all << ' '), ...);
    return text.str().substr(0, text.str().size() - 1);
}
// Defines a function that only returns a value.
#define ANSWER(type, name, parameters, ...)                                                        \
    type name parameters {                                                                         \
        return __VA_ARGS__;                                                                        \
    }

// --- Steps: changes of the script for one case ----------------------------------------

struct Step {
    string label;
    std::function<void()> apply;
};
using Steps = std::vector<Step>;

// Machine values: "domain", "chassis", "host name" (with its leading byte), "community", "guid",
// "clock", "bus reply", "servers" (address families, such as "64"); "no client" and "no actor1"
// with any text make that object null.
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
inline string alertKey(const char* type, int destination, const char* name) {
    return string("pm_") + type + "_email_alert" + std::to_string(destination) + name;
}
ANSWER(inline string, enabledKey, (int n), alertKey("bool", n, "_enabled"))
ANSWER(inline string, addressKey, (int n), alertKey("str", n, "_destination"))
ANSWER(inline string, subjectKey, (int n), alertKey("str", n, "_subject"))
ANSWER(inline string, bodyKey, (int n), alertKey("str", n, "_body"))

// --- The script and its records ----------------------------------------------------------

// A run of msmtp, with the contents of its files then.
struct RelayRun {
    string messagePath, message, relay; // the relay configuration
};

struct Script {
    std::map<string, string> values;                   // a key without a value cannot be read
    std::map<string, int> types;                       // of attribute objects other than strings
    std::map<string, int> results;                     // of calls that start with the key; else 0
    std::map<string, std::function<void()>> reactions; // to calls that start with the key
    std::vector<int> relayResults, threadIds;          // used in order
    size_t failingAllocation = 0, failingCall = 0;     // count down; at 0 it fails
    bool holdThreads = false;                          // threads are recorded but not started
    std::function<void()> duringRun;                   // called without the lock
    std::function<bool(const string&)> hides;          // log lines to leave out of order
    bool quiet = false;                                // no calls in order
    Lines calls, log, order; // log lines start with level and module; order has log lines and calls
    std::vector<RelayRun> runs;
    bool detached = false, signalsOpen = false; // of the last thread
};
extern Script& script;
extern std::recursive_mutex guard; // of the script, as mails have threads
using Guard = std::lock_guard<std::recursive_mutex>;

// Sets a setting, an attribute or a machine value.
ANSWER(inline Step, text, (const string& key, const string& value),
       {words(key, "is", value), [=] { script.values[key] = value; }})
// The same, as an object of a type.
ANSWER(inline Step, typed, (int type, const string& key, const string& value),
       {words(key, "is", value, "of type", type),
        [=] { script.values[key] = value, script.types[key] = type; }})
ANSWER(inline Step, unreadable, (const string& key),
       {words(key, "unreadable"), [=] { script.values.erase(key); }})
// Calls with this start fail; with the result 0 they work again. The names of the calls are in
// golden/*.txt, after ">".
ANSWER(inline Step, fails, (const string& call, int result = -1),
       {words(call, "gives", result), [=] { script.results[call] = result; }})
// Applies the step at calls with this start.
ANSWER(inline Step, during, (const string& call, const Step& step),
       {words("during", call, step.label), [=] { script.reactions[call] = step.apply; }})
// Results of the msmtp runs; later ones return 0.
ANSWER(inline Step, relayResults, (const std::vector<int>& results),
       {words("relay results", testing::PrintToString(results)),
        [=] { script.relayResults = results; }})
// The nth allocation fails.
ANSWER(inline Step, noMemory, (size_t nth),
       {words("no memory", nth), [=] { script.failingAllocation = nth; }})
inline const Step NO_V4 = text(IPV4, "0"), V6 = text(IPV6, "1");

// Records a call, runs its reaction, and returns its result.
int outcome(const string& call);
// Fills the buffer as a platform may: without a terminator if the text fills it, and with
// garbage if the read fails.
bool giveText(const string& call, const string& key, void* buffer, size_t size);
void* platformBlock(size_t size, const void* content = nullptr); // released by pm
size_t liveBlocks(); // heap blocks allocated since forgetBlocks() and not freed
void forgetBlocks();
int exitStatusOf(const std::function<void()>& routine);
size_t called(const string& start); // number of calls with this start
size_t logged(const string& part);  // number of log lines with this part
string contentOf(const string& path);
Lines mailFiles(); // pm's existing mail files, sorted

// Starts each test with valid settings, without mail files, and with cleared flags.
class Scripted : public testing::Test {
  protected:
    void SetUp() override { begin({}); }
    void TearDown() override;
    // The same for each case of a table; a failure prints the name and the steps.
    void begin(const Steps& given, const string& name = "");

  private:
    std::unique_ptr<testing::ScopedTrace> m_trace;
};
