// What operations ask, do and say, line by line and in order: unit/traces.txt has it for one
// run a paragraph. PM_TRACES=FILE writes the file as it is now; read each change of it.
#include <fstream>
#include <regex>

#include "core/config_subscription.h"
#include "core/directory_rule.h"
#include "core/events.h"
#include "core/options.h"
#include "core/persistent_parameters.h"
#include "core/service_thread.h"
#include "core/tables.h"
#include "mail_senders.h"
#include "trap/functions.h"

using namespace pm;

namespace {

template <int32_t (*HANDLER)(uint32_t, void*), uint8_t INDEX = 2>
int32_t callByIndex() {
    return send(HANDLER, IndexRequest{INDEX});
}
template <int32_t (*HANDLER)(uint32_t, void*)>
int32_t callWithNothing() {
    return HANDLER(0, nullptr);
}
// Behind the operation's name, with commas.
Lines arguments;

// Arguments: topic, type, size, name of the attribute; without any there is no record.
template <qornc_event_callback CALLBACK>
int32_t notify() {
    if (arguments.empty())
        return CALLBACK(nullptr, "t", nullptr);
    EventRecord record = {};
    const AttributeChangeRecord head = {static_cast<uint32_t>(std::stoul(arguments[2])),
                                        static_cast<uint16_t>(std::stoul(arguments[1])),
                                        {},
                                        100};
    std::memcpy(&record, &head, sizeof head);
    if (arguments.size() > 3)
        std::strcpy(reinterpret_cast<char*>(&record) + 100, arguments[3].c_str());
    return CALLBACK(nullptr, arguments[0].c_str(), &record);
}
template <void (*ROUTINE)()>
int32_t run() {
    ROUTINE();
    return 0;
}

const std::map<string, std::function<int32_t()>> operations = {
    {"sendEmail", testedSenders[0].send},
    {"sendTestEmail", testedSenders[1].send},
    {"sendAlertEmail", testedSenders[2].send},
    {"sendGenericEmail", testedSenders[3].send},
    {"sendGenericEmail-detached", [] { return sendGeneric(genericRequest("t", "s", 0, "b")); }},
    {"sendGenericEmail-long",
     [] {
         script.threadIds = {4242};
         return sendGeneric(genericRequest(string(300, 't'), string(300, 's'), 1, "Body"));
     }},
    {"sendTestEmail-null", callWithNothing<sendTestEmail>},
    {"sendAlertEmail-short",
     [] {
         AlertEmailStruct request = alertRequest("");
         return sendAlertEmail(sizeof request - 1, &request);
     }},
    {"sendGenericEmail-null", callWithNothing<sendGenericEmail>},
    {"sendEmailAlertsEx",
     [] {
         EmailAlertsExStruct request = {"", "Subject", "Body"};
         setField(request.szSubject, string(sizeof request.szSubject, 's'));
         return send(sendEmailAlertsEx, request);
     }},
    {"sendEmailAlertsEx-subject",
     [] {
         return send(sendEmailAlertsEx, EmailAlertsExStruct{"", "", "Body"});
     }},
    {"sendEmailAlertsEx-body",
     [] {
         return send(sendEmailAlertsEx, EmailAlertsExStruct{"", "Subject", ""});
     }},
    {"sendEmailAlertsEx-null", callWithNothing<sendEmailAlertsEx>},
    {"sendTestEmailEx", callByIndex<sendTestEmailEx>},
    {"sendTestEmailEx-index", callByIndex<sendTestEmailEx, 9>},
    {"sendTestEmailEx-null", callWithNothing<sendTestEmailEx>},
    {"sendIPMITestTrap", callByIndex<sendIPMITestTrap>},
    {"sendIPMITestTrap-index", callByIndex<sendIPMITestTrap, 9>},
    {"sendIPMITestTrap-null", callWithNothing<sendIPMITestTrap>},
    {"sendSNMPTestTrap", callByIndex<sendSNMPTestTrap>},
    {"sendSNMPTestTrap-index", callByIndex<sendSNMPTestTrap, 9>},
    {"sendSNMPTestTrap-null", callWithNothing<sendSNMPTestTrap>},
    {"sendTestTrap", callByIndex<sendTestTrap>},
    {"sendTestTrap-index", callByIndex<sendTestTrap, 9>},
    {"sendTestTrap-null", callWithNothing<sendTestTrap>},
    {"event", notify<pmEventCallback>},
    {"misc", notify<MiscAttributeChangeCallback>},
    {"snmp", notify<snmpConfigNotificationCallback>},
    {"seed",
     [] {
         factoryDefaults = arguments.empty() ? 0 : 1;
         initPersistentParameters();
         factoryDefaults = 0;
         return 0;
     }},
    {"subscribe", run<subscribeConfigNotificationsRetry>},
    {"service", [] { return exitStatusOf([] { PM_LQORNThread(nullptr); }); }}};

class Trace : public Scripted {
  protected:
    // The lines of a run. Lines that follow another one as they did where that one stood
    // first, in this run or in one above, are only counted.
    string linesOfRun() {
        Lines run;
        for (const string& line : script.trace)
            run.push_back(std::regex_replace(std::regex_replace(line, std::regex("\n"), "\\n"),
                                             std::regex("\\[\\d+\\]:"), "[n]:"));
        string text;
        for (size_t at = 0; at < run.size(); ++at) {
            const size_t known = static_cast<size_t>(
                std::find(m_shown.begin(), m_shown.end(), run[at]) - m_shown.begin());
            size_t same = 0;
            while (at + same + 1 < run.size() && known + same + 1 < m_shown.size() &&
                   run[at + same + 1] == m_shown[known + same + 1])
                ++same;
            text += run[at] + "\n";
            if (same >= 3)
                text += words("...", same, "as above") + "\n";
            const size_t shown = same >= 3 ? same + 1 : 1;
            m_shown.insert(m_shown.end(), run.begin() + at, run.begin() + at + shown);
            at += shown - 1;
        }
        return text;
    }

  private:
    Lines m_shown;
};

TEST_F(Trace, EachLineInItsPlace) {
    std::ifstream file(TRACES);
    const string expected((std::istreambuf_iterator<char>(file)), {});
    std::stringstream all(expected);
    string actual;
    for (string line; std::getline(all, line);) {
        if (line.starts_with('#')) {
            actual += line + "\n";
        } else if (line.starts_with("== ")) {
            const size_t end = std::min(line.find(' ', 3), line.size());
            restart(end < line.size() ? line.substr(end + 1) : "", line);
            std::stringstream heading(line.substr(3, end - 3));
            string name;
            std::getline(heading, name, ',');
            arguments.clear();
            for (string argument; std::getline(heading, argument, ',');)
                arguments.push_back(argument);
            const int32_t status = operations.at(name)();
            actual += "\n" + line + "\n" + linesOfRun() + words("status", status) + "\n";
        }
    }
    EXPECT_EQ(expected, actual);
    if (const char* path = std::getenv("PM_TRACES"))
        std::ofstream(path) << actual;
}

} // namespace
