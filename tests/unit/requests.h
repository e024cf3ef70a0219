// Valid requests, wrappers that call the operations, and the structure of a test case.
#pragma once

#include <cstring>

#include "common/records.h"
#include "core/config_subscription.h"
#include "core/directory_rule.h"
#include "core/events.h"
#include "mail/functions.h"
#include "mail/send_email.h"
#include "platform/distribution.h"
#include "scripted_platform.h"
#include "trap/functions.h"

template <size_t N>
void setField(char (&field)[N], const string& text) {
    std::memcpy(field, text.c_str(), std::min(N, text.size() + 1));
}
inline EmailAlertsExStruct alertsRequest(const string& host, const string& subject,
                                         const string& body = "Body") {
    EmailAlertsExStruct request = {};
    setField(request.szHostName, host);
    setField(request.szSubject, subject);
    setField(request.szBodyText, body);
    return request;
}
inline TestEmailStruct testRequest(const string& body) {
    TestEmailStruct request = {"2@example.org", "Subject 2", {}};
    setField(request.szBody, body);
    return request;
}
inline AlertEmailStruct alertRequest(const string& body, int32_t index = 2) {
    AlertEmailStruct request = {index, {}, 'x'};
    setField(request.szBody, body);
    return request;
}
// The body follows the head; the handler replaces the last byte by a terminator.
inline string genericRequest(const string& to, const string& subject, uint8_t blocking,
                             const string& body) {
    GenericEmailStruct head = {{}, {}, blocking};
    setField(head.szSubject, subject);
    setField(head.szTo, to);
    return string(reinterpret_cast<const char*>(&head), sizeof head) + body + "!";
}

using Handler = int32_t (*)(uint32_t, void*);

template <typename Request>
int32_t send(Handler handler, Request request) {
    return handler(sizeof request, &request);
}
inline int32_t sendGeneric(string request) {
    return sendGenericEmail(static_cast<uint32_t>(request.size()), request.data());
}
inline int32_t sendGenericAs4242() {
    script.threadIds = {4242};
    return sendGeneric(genericRequest("2@example.org", "Subject 2", 1, "Body"));
}
inline constexpr const char* AD_ENABLE = "norvu.embedded.1#activedirectory.1#enable";
inline constexpr const char* LDAP_ENABLE = "norvu.embedded.1#ldap.1#enable";
// Calls the callback with a notification; attribute: the name in a change record.
inline int32_t notify(qornc_event_callback callback, const string& topic, uint16_t type,
                      const string& attribute = "", uint32_t size = sizeof(EventRecord)) {
    char record[sizeof(EventRecord)] = {};
    const AttributeChangeRecord head = {size, type, {}, ATTRIBUTE_NAME_OFFSET};
    std::memcpy(record, &head, sizeof head);
    std::memcpy(record + ATTRIBUTE_NAME_OFFSET, attribute.c_str(), attribute.size());
    return callback(nullptr, topic.c_str(), record);
}

struct Sender {
    string name;
    int32_t (*send)();
    CompatibilityFlag& flag;
};
inline const Sender senders[4] = {
    {"sendEmail", [] { return sendEmail("2@example.org", "Subject 2", "Body"); },
     bMseCompatSendEmail},
    {"sendTestEmail", [] { return send(sendTestEmail, testRequest("Body")); }, bMseCompatTestEmail},
    {"sendAlertEmail", [] { return send(sendAlertEmail, alertRequest("Body")); },
     bMseCompatAlertEmail},
    {"sendGenericEmail", sendGenericAs4242, bMseCompatGenericEmail}};

// A test case. "given" has the deviations from the default settings; the other members have
// the expected results. The status is always checked, the others only if a case sets them.
inline constexpr size_t ANY = 1000000;
struct Case {
    string name = "";
    Steps given = {};
    int32_t status = 0;
    size_t attempts = ANY, runs = ANY, calls = ANY; // server reads, msmtp runs, outside calls
    string to = "?";                 // first letters of the recipients, in order of the runs
    string message = "", relay = ""; // parts of the files of the last run
    string call = "", log = "";      // start of a call, part of a log line
};
inline const string DATE = "Date: Tue, 14 Nov 2023 22:13:20 +0100\n";
inline const string TYPE = "Content-type: text/plain\n\n";
inline const string END = "(end)"; // appended to both files, to check how they end

class Cases : public Scripted {
  protected:
    static void expectPart(const string& part, const string& whole) {
        EXPECT_TRUE(whole.find(part) != string::npos) << "no \"" << part << "\" in:\n" << whole;
    }

    // Runs the operation for each case, checks it, and calls "after" for further checks.
    void check(
        const string& name, const std::function<int32_t()>& operation,
        const std::vector<Case>& cases, const std::function<void()>& after = [] {}) {
        for (const Case& each : cases) {
            begin(each.given, name + " " + each.name);
            EXPECT_EQ(each.status, operation());
            const size_t attempts = called("str " + SERVER);
            string to;
            for (const RelayRun& run : script.runs)
                to += run.message.substr(run.message.find("\nTo: ") + 5, 1);
            const RelayRun last = script.runs.empty() ? RelayRun{} : script.runs.back();
            EXPECT_EQ(each.attempts == ANY ? attempts : each.attempts, attempts);
            EXPECT_EQ(each.runs == ANY ? script.runs.size() : each.runs, script.runs.size());
            EXPECT_EQ(each.calls == ANY ? script.calls.size() : each.calls, script.calls.size());
            EXPECT_EQ(each.to == "?" ? to : each.to, to);
            expectPart(each.message, last.message + END);
            expectPart(each.relay, last.relay + END);
            expectPart(called(each.call) > 0 ? "" : each.call,
                       testing::PrintToString(script.calls));
            expectPart(logged(each.log) > 0 ? "" : each.log, testing::PrintToString(script.log));
            after();
        }
    }
};
