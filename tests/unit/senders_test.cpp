// The four mail senders: what each failure of a step does to the mail and its attempts.
#include "requests.h"

namespace {

class Senders : public Cases {};

const Step MESSAGE_IS_NOT_OPENED = fails("open /tmp/zorqemail.txt"),
           THREADS_MESSAGE_IS_NOT_OPENED = fails("open /tmp/zorqgeneric"),
           RELAY_CONFIG_IS_NOT_OPENED = fails("open /tmp/zorqemailconfig");

const std::vector<Case> EACH = {
    {.given = {unreadable(IPV4), unreadable(AUTH)}, .status = -1, .attempts = 1, .runs = 0},
    {.given = {unreadable(AUTH), unreadable(subjectKey(2))}, .status = -3, .attempts = 1},
    {.given = {text(AUTH, "1"), text(USER, "")}, .status = -3, .attempts = 1},
    {.given = {unreadable(REGISTERED), unreadable(PRESENCE)}, .attempts = 1, .runs = 1},
    {.given = {RELAY_CONFIG_IS_NOT_OPENED}, .status = -17, .attempts = 1, .log = "No space left"},
    {.given = {fails("write Date")}, .attempts = 1, .to = "2", .message = "Subject 2\n" + TYPE},
    {.given = {fails("write \n")}, .attempts = 1, .to = "2", .message = TYPE + "Body"},
    {.name = "relay refuses once", .given = {relayResults({5})}, .attempts = 2, .to = "22"},
    {.name = "relay refuses twice", .given = {relayResults({5, 5})}, .status = -1, .to = "22"},
    {.name = "relay refuses, and then there is no own address",
     .given = {relayResults({5}), during("run", unreadable(IPV6))},
     .status = -1,
     .attempts = 2,
     .runs = 1},
    {.name = "relay refuses, and then its configuration is not opened",
     .given = {relayResults({5}), during("run", RELAY_CONFIG_IS_NOT_OPENED)},
     .status = -17,
     .attempts = 2,
     .runs = 1}};

const std::vector<Case> CORE = {
    {.given = {unreadable(SERVER)}, .status = -17, .attempts = 2, .log = "not get server address"},
    {.given = {MESSAGE_IS_NOT_OPENED}, .status = -17, .attempts = 2, .log = "could not open /tmp"},
    {.given = {fails("write From")}, .attempts = 1, .message = DATE + "To: "},
    {.given = {fails("write To")}, .attempts = 1, .message = "example.org\nSubject: "},
    {.given = {fails("write Subject")}, .attempts = 1, .message = "example.org\n" + TYPE},
    {.given = {fails("write Body")}, .attempts = 1, .message = TYPE + "\n\n" + END}};

const std::vector<Case> OTHERS = {
    {.given = {unreadable(SERVER)},
     .status = -17,
     .attempts = 1,
     .log = "Failed to get email serv"},
    {.given = {MESSAGE_IS_NOT_OPENED, THREADS_MESSAGE_IS_NOT_OPENED}, .status = -17, .attempts = 2},
    {.given = {fails("write To")}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write Subject")}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write Content")}, .status = -17, .attempts = 2, .runs = 0},
    {.given = {fails("write Body")}, .attempts = 1, .message = TYPE + END}};
const Case DATE_ALONE = {.given = {fails("write From")}, .attempts = 1, .message = DATE + END};

const std::vector<Case> OWN[] = {
    {{.given = {unreadable(REGISTERED)}, .log = "get currentnic.1#dnsregister fail"}},
    {{.given = {fails("write From")}, .status = -17, .attempts = 2, .log = "could not be written"},
     {.given = {relayResults({5})}, .log = "failed, return code:5 error: Broken pipe"}},
    {DATE_ALONE,
     {.given = {unreadable(addressKey(2))}, .status = -17, .attempts = 2, .log = "to \"\" failed"},
     {.given = {unreadable(subjectKey(2))}, .status = -17, .attempts = 2, .runs = 0},
     {.given = {relayResults({5, 5})}, .status = -1, .call = "log_rlog 0 2@example.org"}},
    {DATE_ALONE,
     {.given = {fails("thread attributes", 11)}, .runs = 0, .log = "ERROR : Resource temporarily"},
     {.given = {fails("thread detached", 11)}, .runs = 0, .log = "ERROR : Resource temporarily"},
     {.given = {fails("thread created", 11)}, .runs = 0, .log = "sendGenericEmail() - retVal = 0"},
     {.given = {noMemory(1)}, .status = -1, .log = "sendGenericEmail() - ERROR : Cannot allocate"},
     {.given = {noMemory(2)},
      .status = -1,
      .log = "sendGenericEmail() - ERROR : Cannot allocate"}}};

TEST_F(Senders, EachFailure) {
    for (size_t i = 0; i < 4; ++i) {
        const Sender& sender = senders[i];
        const auto after = [&](const Case& each) {
            const string told = words("failed with status", each.status);
            EXPECT_EQ(each.status == 0 || script.calls.empty() ? 0U : 1U, logged(told));
            for (const Sender& other : senders)
                EXPECT_EQ(&other == &sender && called(words("str", SERVER)) == 2, *other.flag != 0);
            EXPECT_EQ(i == 2 ? script.runs.size() : 0, called("log_rlog"));
            const Lines left = mailFiles();
            EXPECT_TRUE(left.empty() || (i != 3 && left == Lines{RELAY_CONFIG_PATH}));
        };
        for (const auto& cases : {EACH, i == 0 ? CORE : OTHERS, OWN[i]})
            check(sender.name, sender.send, cases, after);
        // The flag outlives the call.
        begin({text("domain", "(none)"), relayResults({1, 1, 1})}, sender.name);
        for (const int32_t status : {-1, 0, 0})
            EXPECT_EQ(status, sender.send());
        string brackets;
        for (const RelayRun& run : script.runs)
            brackets += run.relay.find("domain [192.0.2.7]\n") != string::npos ? '1' : '0';
        EXPECT_EQ("10011", brackets);
    }
}

TEST_F(Senders, RefuseRequests) {
    static TestEmailStruct test = testRequest("");
    static AlertEmailStruct alert = alertRequest(""), zero = alertRequest("", 0),
                            five = alertRequest("", 5);
    static EmailAlertsExStruct noSubject = alertsRequest("h", ""),
                               noBody = alertsRequest("h", "s", "");
    static uint8_t index[] = {0, 5, 4};
    const struct {
        int32_t (*handler)(uint32_t, void*);
        uint32_t size;
        void* request;
        Case expect;
    } rows[] = {
        {sendTestEmail, 0, nullptr, {.status = -3, .attempts = 1, .log = "mail to \"\" failed"}},
        {sendTestEmail,
         764,
         &test,
         {.status = -3, .attempts = 2, .log = "sizeof(TestEmailStruct)"}},
        {sendTestEmail, 765, nullptr, {.given = {unreadable(SERVER)}, .status = -17}},
        {sendTestEmail, 9999, &test, {.runs = 1}},
        {sendAlertEmail, 260, nullptr, {.status = -3, .attempts = 1, .log = "Struct is NULL"}},
        {sendAlertEmail, 259, &alert, {.status = -3, .attempts = 2, .log = "(AlertEmailStruct)"}},
        {sendAlertEmail, 260, &alert, {.runs = 1}},
        {sendAlertEmail, 9999, &alert, {.given = {text(addressKey(2), "")}, .runs = 1}},
        {sendAlertEmail, 260, &zero, {.status = -17, .attempts = 2}},
        {sendAlertEmail, 260, &five, {.given = {unreadable(AUTH)}, .status = -3, .attempts = 1}},
        {sendGenericEmail, 700, nullptr, {.status = -3, .log = "sizeof(AlertEmailStruct) = 511, "}},
        {sendEmailAlertsEx, 0, nullptr, {.given = {unreadable(SERVER)}, .status = -1}},
        {sendEmailAlertsEx, 0, nullptr, {.given = {text(SERVER, "0.0.0.0")}, .status = -1}},
        {sendEmailAlertsEx,
         2550,
         nullptr,
         {.given = {text(SERVER, "")}, .status = -3, .log = "NULL"}},
        {sendEmailAlertsEx, 2549, &noBody, {.status = -3, .log = "sizeof(EmailAlertsExStruct)"}},
        {sendEmailAlertsEx, 2550, &noSubject, {.status = -3, .log = "szSubject string is zero"}},
        {sendEmailAlertsEx, 9999, &noBody, {.status = -3, .log = "szBodyText string is zero"}},
        {sendTestEmailEx, 0, nullptr, {.given = {unreadable(SERVER)}, .status = -1}},
        {sendTestEmailEx,
         1,
         nullptr,
         {.given = {text(SERVER, "0.0.0.0")}, .status = -1, .log = "useable"}},
        {sendTestEmailEx,
         1,
         nullptr,
         {.given = {text(SERVER, "")}, .status = -3, .log = "request_data is NULL"}},
        {sendTestEmailEx, 0, index, {.status = -3, .log = "sizeof(unsigned char)"}},
        {sendTestEmailEx,
         1,
         index + 1,
         {.status = -3, .log = "index value of 5 is greater than max of 4"}},
        {sendTestEmailEx, 4, index, {.status = -1, .calls = 1}},
        {sendTestEmailEx,
         1,
         index + 2,
         {.given = {text(addressKey(4), "")}, .status = -1, .log = "destination 4, or"}}};
    for (const auto& row : rows)
        check(words(row.size, row.request), [&] { return row.handler(row.size, row.request); },
              {row.expect});
}

TEST_F(Senders, LinksOfTheCoreSender) {
    const string web = "\nTo launch the Norvu Web Interface, click here: https://",
                 console = "\nTo launch the Norvu Virtual Console, click here: https://",
                 name = "ctl1.example.org", v4 = "192.0.2.7", v6 = "[2001:db8::7]";
    const auto links = [&](const string& host) {
        return web + host + console + host + "/console\n";
    };
    const Step registered = text(REGISTERED, "1"), ipv6 = text(IPV6, "1"),
               only6 = text("servers", "6");
    const string b2000(2000, 'b'), b2039(2039, 'b'), b2100(2100, 'b');
    const struct {
        string body, sent;
        Steps given = {};
    } rows[] = {{"b", "b" + links(name), {registered}},
                {"b", "b" + links(v4), {text(REGISTERED, "2")}},
                {"b", "b" + links(v4), {registered, text("domain", "(none)")}},
                {"b", "b" + links(v6), {ipv6, only6}},
                {"[] is [] []", v4 + " is [] []", {registered}},
                {"at []", "at " + v6, {ipv6, only6}},
                {b2000, b2000 + "\nTo launch the Norvu Web Interface, cli"},
                {b2039, b2039},
                {b2100, b2039},
                {b2100 + "[]" + b2100, b2100 + v4 + string(4095 - 2100 - 9, 'b')}};
    for (const auto& [body, sent, given] : rows)
        check("", [&] { return sendEmail("a@b", "s", body.c_str()); },
              {{.given = given, .message = TYPE + sent + "\n\n" + END}});
}

TEST_F(Senders, FooterStaysInsideTheBodyField) {
    const string web = "\nNorvu web UI: https://192.0.2.7\n",
                 console = "Norvu virtual console: https://192.0.2.7/console\n";
    const struct {
        size_t length;
        string presence, footer;
    } rows[] = {{0, "0", web},    {0, "1", web + console}, {240, "1", "\nNorvu web UI:"},
                {253, "1", "\n"}, {254, "1", ""},          {255, "1", ""}};
    for (const auto& [length, presence, footer] : rows) {
        const string body(length, 'b'), sent = body + footer;
        TestEmailStruct test = testRequest(body);
        AlertEmailStruct alert = alertRequest(body);
        const Case once = {
            .given = {text(PRESENCE, presence), relayResults({1})}, // at each attempt
            .runs = 2,
            .message = TYPE + sent + "\n\n" + END};
        check("test", [&] { return sendTestEmail(sizeof test, &test); }, {once});
        check("alert", [&] { return sendAlertEmail(sizeof alert, &alert); }, {once});
        EXPECT_EQ(sent, string(test.szBody, strnlen(test.szBody, 255)));
        EXPECT_EQ(sent, string(alert.szBody, strnlen(alert.szBody, 255)));
        EXPECT_EQ('x', alert.reserved259);
    }
}

TEST_F(Senders, HeadersEndWithTheirLineAndField) {
    const string field(255, 'f'), t250(250, 't'), s244(244, 's'), s245(245, 's');
    check(
        "line ends", [] { return sendEmail("a@b\r\nBcc: c@d", "one\ntwo", "line\r\nline"); },
        {{.message = "To: a@b  Bcc: c@d\nSubject: one two\n" + TYPE + "line\r\nline\nTo launch"}});
    TestEmailStruct request;
    std::memset(&request, 'f', sizeof request);
    check(
        "no terminators", [&] { return send(sendTestEmail, request); },
        {{.message = "To: " + field + "\nSubject: " + field + "\n" + TYPE + field + "\n\n" + END}});
    for (const Sender& sender : senders) {
        const string from = &sender == &senders[2] ? "ctl1" : "ctl1@example.org";
        check(sender.name, sender.send,
              {{.given = {text(SENDER_MAIL, ""), fails("localtime")},
                .message = "Date: \nFrom: " + from + "\nTo: "}});
    }
}

} // namespace
