// The four mail senders: effects of each failure, refused requests, and texts.
#include "requests.h"

namespace {

class Senders : public Cases {};

const Step NO_MESSAGE = fails("open /tmp/zorqemail.txt"), NO_RELAY = fails("open /tmp/zorqemailco"),
           NO_THREAD_MESSAGE = fails("open /tmp/zorqgeneric"), NO_DOMAIN = text("domain", "(none)");

// Of each of the four senders.
const std::vector<Case> EACH = {
    {.given = {unreadable(IPV4), unreadable(AUTH)}, .status = -1, .attempts = 1, .runs = 0},
    {.given = {unreadable(AUTH), unreadable(subjectKey(2))}, .status = -3, .attempts = 1},
    {.given = {unreadable(REGISTERED), unreadable(PRESENCE)}, .attempts = 1, .runs = 1},
    {.given = {NO_RELAY}, .status = -17, .attempts = 1, .log = "configuration file: No space"},
    {.given = {fails("write Date")}, .attempts = 1, .to = "2", .message = "Subject 2\n" + TYPE},
    {.given = {fails("write Date")}, .message = TYPE, .log = "the message is not complete: "},
    {.given = {fails("write \n")}, .attempts = 1, .to = "2", .message = TYPE + "Body"},
    {.given = {relayResults({5, 5})}, .status = -1, .to = "22", .log = "to \"2@example.org\""},
    {.given = {NO_DOMAIN}, .attempts = 1, .relay = "domain [192.0.2.7]\n"},
    {.given = {NO_DOMAIN, relayResults({5})}, .attempts = 2, .relay = "domain 192.0.2.7\n"},
    {.given = {relayResults({5}), during("run", unreadable(IPV6))}, .status = -1, .attempts = 2},
    {.given = {relayResults({5}), during("run", NO_RELAY)}, .status = -17, .attempts = 2}};

// Of sendEmail().
const std::vector<Case> CORE = {
    {.given = {unreadable(SERVER)}, .status = -17, .attempts = 2, .log = "not get server address"},
    {.given = {unreadable(REGISTERED)}, .log = "get currentnic.1#dnsregister fail"},
    {.given = {NO_MESSAGE}, .status = -17, .attempts = 2, .log = "could not open /tmp/zorqemail"},
    {.given = {fails("write From")}, .attempts = 1, .message = DATE + "To: "},
    {.given = {fails("write To")}, .attempts = 1, .message = "example.org\nSubject: "},
    {.given = {fails("write Subject")}, .attempts = 1, .message = "example.org\n" + TYPE},
    {.given = {fails("write Body")}, .attempts = 1, .message = TYPE + "\n\n" + END}};

// Of the three others.
const std::vector<Case> OTHERS = {
    {.given = {unreadable(SERVER)}, .status = -17, .attempts = 1, .log = "Failed to get email"},
    {.given = {NO_MESSAGE, NO_THREAD_MESSAGE}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write To")}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write Subject")}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write Content")}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write Body")}, .attempts = 1, .message = TYPE + END}};
const Case DATE_ALONE = {.given = {fails("write From")}, .attempts = 1, .message = DATE + END};

// Of one sender each, in the order of senders.
const std::vector<Case> OWN[] = {
    {},
    {{.given = {fails("write From")}, .status = -17, .attempts = 2, .log = "could not be written"},
     {.given = {unreadable(PRESENCE)}, .message = "https://192.0.2.7\n\n\n" + END},
     {.given = {relayResults({5})}, .log = "failed, return code:5 error: Broken pipe"}},
    {DATE_ALONE,
     {.given = {unreadable(addressKey(2))}, .status = -17, .attempts = 2, .log = "to \"\" failed"},
     {.given = {unreadable(subjectKey(2))}, .status = -17, .attempts = 2, .runs = 0},
     {.given = {relayResults({5}), during("run", unreadable(IPV6))},
      .status = -1,
      .log = "to \"\" fa"}},
    {DATE_ALONE,
     {.given = {fails("thread attributes", 11)}, .calls = 1, .log = "ERROR : Resource temporarily"},
     {.given = {fails("thread detached", 11)}, .calls = 2, .log = "ERROR : Resource temporarily"},
     {.given = {fails("thread created", 11)}, .calls = 3, .log = "sendGenericEmail() - retVal = 0"},
     {.given = {noMemory(1)}, .status = -1, .calls = 0, .log = "ERROR : Cannot allocate memory"},
     {.given = {noMemory(2)}, .status = -1, .calls = 0, .log = "ERROR : Cannot allocate memory"}}};

const int FLAGS_AT_START =
    bMseCompatSendEmail | bMseCompatTestEmail | bMseCompatAlertEmail | bMseCompatGenericEmail;

TEST_F(Senders, EachFailure) {
    EXPECT_EQ(0, FLAGS_AT_START);
    for (size_t i = 0; i < 4; ++i) {
        const auto after = [i] {
            for (const Sender& each : senders)
                EXPECT_EQ(&each == &senders[i] && called("str " + SERVER) == 2, each.flag != 0);
            EXPECT_EQ(i == 2 ? script.runs.size() : 0, called("log_rlog 0 2@example.org"));
            const Lines left = mailFiles(); // cases must leave the recipient 2@example.org
            EXPECT_TRUE(left.empty() || (i != 3 && left == Lines{RELAY_CONFIG_PATH}));
        };
        for (const auto& cases : {EACH, i == 0 ? CORE : OTHERS, OWN[i]})
            check(senders[i].name, senders[i].send, cases, after);
    }
}

TEST_F(Senders, RefuseRequests) {
    TestEmailStruct test = testRequest("");
    AlertEmailStruct alert = alertRequest(""), none = alertRequest("", 0),
                     five = alertRequest("", 5);
    EmailAlertsExStruct noTitle = alertsRequest("h", ""), noBody = alertsRequest("h", "s", "");
    uint8_t index[] = {0, 5, 4};
    const Step noServer = unreadable(SERVER), unset = text(SERVER, "0.0.0.0"),
               empty = text(SERVER, ""), noAddress = text(addressKey(4), "");
    const struct {
        Handler handler;
        uint32_t size;
        void* request;
        Case expect;
    } rows[] = {
        {sendTestEmail, 0, nullptr, {.status = -3, .attempts = 1, .log = "mail to \"\" failed"}},
        {sendTestEmail, 764, &test, {.status = -3, .attempts = 2, .log = "(TestEmailStruct)"}},
        {sendTestEmail, 765, nullptr, {.given = {noServer}, .status = -17}},
        {sendTestEmail, 9999, &test, {.runs = 1}},
        {sendAlertEmail, 260, nullptr, {.status = -3, .attempts = 1, .log = "Struct is NULL"}},
        {sendAlertEmail, 259, &alert, {.status = -3, .attempts = 2, .log = "(AlertEmailStruct)"}},
        {sendAlertEmail, 260, &alert, {.runs = 1}},
        {sendAlertEmail, 9999, &alert, {.given = {text(addressKey(2), "")}, .runs = 1}},
        {sendAlertEmail, 260, &none, {.status = -17, .attempts = 2}},
        {sendAlertEmail, 260, &five, {.given = {unreadable(AUTH)}, .status = -3, .attempts = 1}},
        {sendGenericEmail, 700, nullptr, {.status = -3, .log = "sizeof(AlertEmailStruct) = 511, "}},
        {sendEmailAlertsEx, 0, nullptr, {.given = {noServer}, .status = -1, .log = "Failed to"}},
        {sendEmailAlertsEx, 0, nullptr, {.given = {unset}, .status = -1, .log = "useable address"}},
        {sendEmailAlertsEx, 2550, nullptr, {.given = {empty}, .status = -3, .log = "data is NULL"}},
        {sendEmailAlertsEx, 2549, &noBody, {.status = -3, .log = "sizeof(EmailAlertsExStruct)"}},
        {sendEmailAlertsEx, 2550, &noTitle, {.status = -3, .log = "szSubject string is zero"}},
        {sendEmailAlertsEx, 9999, &noBody, {.status = -3, .log = "szBodyText string is zero"}},
        {sendTestEmailEx, 1, nullptr, {.given = {unset}, .status = -1, .log = "useable address"}},
        {sendTestEmailEx, 1, nullptr, {.given = {empty}, .status = -3, .log = "data is NULL"}},
        {sendTestEmailEx, 0, index, {.status = -3, .log = "sizeof(unsigned char)"}},
        {sendTestEmailEx, 1, index + 1, {.status = -3, .log = "5 is greater than max of 4"}},
        {sendTestEmailEx, 4, index, {.status = -1, .calls = 1}},
        {sendTestEmailEx, 1, index + 2, {.given = {noAddress}, .status = -1, .calls = 2}}};
    for (const auto& [handler, size, request, expect] : rows)
        check(words(size), [&, to = handler, n = size, r = request] { return to(n, r); }, {expect});
}

TEST_F(Senders, LinksOfTheCoreSender) {
    const string launch = "\nTo launch the Norvu ",
                 web = launch + "Web Interface, click here: https://",
                 console = launch + "Virtual Console, click here: https://",
                 links4 = web + "192.0.2.7" + console + "192.0.2.7/console\n",
                 links6 = web + "[2001:db8::7]" + console + "[2001:db8::7]/console\n",
                 named = web + "ctl1.example.org" + console + "ctl1.example.org/console\n",
                 b2000(2000, 'b'), b2039(2039, 'b'), b2100(2100, 'b');
    const Step registered = text(REGISTERED, "1"), server6 = text("servers", "6");
    const struct {
        string body, sent;
        Steps given = {};
    } rows[] = {{"b", "b" + named, {registered}},
                {"b", "b" + links4, {text(REGISTERED, "2")}},
                {"b", "b" + links4, {registered, NO_DOMAIN}},
                {"b", "b" + links6, {text(IPV6, "1"), server6}},
                {"[] is [] []", "192.0.2.7 is [] []", {registered}},
                {"at []", "at [2001:db8::7]", {text(IPV6, "1"), server6}},
                {b2000, b2000 + "\nTo launch the Norvu Web Interface, cli"},
                {b2039, b2039},
                {b2100, b2039},
                {b2100 + "[]" + b2100, b2100 + "192.0.2.7" + string(4095 - 2100 - 9, 'b')}};
    for (const auto& row : rows)
        check("", [&] { return sendEmail("a@b", "s", row.body.c_str()); },
              {{.given = row.given, .message = TYPE + row.sent + "\n\n" + END}});
}

TEST_F(Senders, FooterStaysInsideTheBodyField) {
    const string web = "\nNorvu web UI: https://192.0.2.7\n",
                 console = "Norvu virtual console: https://192.0.2.7/console\n";
    const std::tuple<size_t, string, string> rows[] = {
        {0, "0", web},    {0, "1", web + console}, {240, "1", "\nNorvu web UI:"},
        {253, "1", "\n"}, {254, "1", ""},          {255, "1", ""}};
    for (const auto& [length, presence, footer] : rows) {
        const string body(length, 'b'), sent = body + footer;
        TestEmailStruct test = testRequest(body);
        AlertEmailStruct alert = alertRequest(body);
        const std::vector<Case> once = {{.given = {text(PRESENCE, presence), relayResults({1})},
                                         .message = TYPE + sent + "\n\n" + END}};
        check(
            "test", [&] { return sendTestEmail(sizeof test, &test); }, once);
        check(
            "alert", [&] { return sendAlertEmail(sizeof alert, &alert); }, once);
        EXPECT_EQ(sent + sent + "x", string(test.szBody, strnlen(test.szBody, 255)) +
                                         string(alert.szBody, strnlen(alert.szBody, 255)) +
                                         char(alert.reserved259));
    }
}

TEST_F(Senders, HeadersEndWithTheirLineAndField) {
    const string to = "a@b\r\nBcc: c@d", subject = "one\ntwo", body = "line\r\nline",
                 mail = "To: a@b  Bcc: c@d\nSubject: one two\n" + TYPE + body;
    TestEmailStruct request = testRequest(body);
    setField(request.szTo, to);
    setField(request.szSubject, subject);
    check("core", [&] { return sendEmail(to.c_str(), subject.c_str(), body.c_str()); },
          {{.message = mail}});
    check("test", [&] { return send(sendTestEmail, request); }, {{.message = mail}});
    check("alert", [&] { return send(sendAlertEmail, alertRequest(body)); },
          {{.given = {text(addressKey(2), to), text(subjectKey(2), subject)}, .message = mail}});
    check("generic", [&] { return sendGeneric(genericRequest(to, subject, 1, body)); },
          {{.message = mail}});
    std::memset(&request, 'f', sizeof request);
    const string f(255, 'f'), full = "To: " + f + "\nSubject: " + f + "\n" + TYPE + f + "\n\n";
    check("no terminators", [&] { return send(sendTestEmail, request); },
          {{.message = full + END}});
    EmailAlertsExStruct alerts;
    std::memset(&alerts, 'f', sizeof alerts);
    check("no terminators", [&] { return send(sendEmailAlertsEx, alerts); },
          {{.message =
                "\nSubject: " + f.substr(1) + "\n" + TYPE + string(2039, 'f') + "\n\n" + END}});
    for (const Sender& each : senders) {
        const string from = &each == &senders[2] ? "ctl1\nTo: " : "ctl1@example.org\nTo: ";
        check(each.name, each.send,
              {{.given = {text(SENDER, ""), fails("localtime")},
                .message = "Date: \nFrom: " + from}});
    }
}

} // namespace
