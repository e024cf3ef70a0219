// The four senders as the tests call them, each with a sound request.
#pragma once

#include <cstring>

#include "common/records.h"
#include "mail/attempt.h"
#include "mail/functions.h"
#include "mail/send_email.h"
#include "scripted_platform.h"

using namespace pm;

#define LINKS_TO(host)                                                                             \
    "\nTo launch the Norvu Web Interface, click here: https://" host                               \
    "\nTo launch the Norvu Virtual Console, click here: https://" host "/console\n"

template <size_t N>
void setField(char (&field)[N], const string& text) {
    std::memcpy(field, text.c_str(), std::min(N, text.size() + 1));
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

// The body lies between the head and the terminator that the handler forces.
inline string genericRequest(const string& to, const string& subject, int blocking,
                             const string& body) {
    GenericEmailStruct head = {{}, {}, static_cast<uint8_t>(blocking)};
    setField(head.szSubject, subject);
    setField(head.szTo, to);
    return string(reinterpret_cast<const char*>(&head), sizeof head) + body + "!";
}

template <typename Request>
int32_t send(int32_t (*handler)(uint32_t, void*), Request request) {
    return handler(sizeof request, &request);
}
inline int32_t sendGeneric(string request) {
    return sendGenericEmail(static_cast<uint32_t>(request.size()), request.data());
}
inline int32_t sendGenericAs4242() {
    script.threadIds = {4242};
    return sendGeneric(genericRequest("2@example.org", "Subject 2", 1, "Body"));
}

struct TestedSender {
    string name;
    int32_t (*send)();
    CompatibilityFlag* flag;
    string message, relay, body; // paths, and the body as it goes out
};

inline const string FOOTER = "\nNorvu web UI: https://192.0.2.7\n";
inline const TestedSender testedSenders[4] = {
    {"sendEmail", [] { return sendEmail("2@example.org", "Subject 2", "Body"); },
     &bMseCompatSendEmail, MESSAGE_FILE, RELAY_FILE, "Body" LINKS_TO("192.0.2.7")},
    {"sendTestEmail", [] { return send(sendTestEmail, testRequest("Body")); }, &bMseCompatTestEmail,
     MESSAGE_FILE, RELAY_FILE, "Body" + FOOTER},
    {"sendAlertEmail", [] { return send(sendAlertEmail, alertRequest("Body")); },
     &bMseCompatAlertEmail, MESSAGE_FILE, RELAY_FILE, "Body" + FOOTER},
    {"pthread_sendGenericEmail", sendGenericAs4242, &bMseCompatGenericEmail,
     "/tmp/zorqgenericemail4242", "/tmp/zorqemailconfig.txt4242", "Body"}};
