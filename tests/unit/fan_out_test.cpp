// Alerts to the configured destinations, and the test mail to one of them.
#include "requests.h"

namespace {

class FanOut : public Cases {};

// An event whose message runs to the end of its field, and with rubbish around.
int32_t notifyOfEvent(const string& message) {
    EventRecord record;
    std::memset(&record, 'm', sizeof record);
    record.header = {sizeof record, HEADER_TYPE_EVENT, {}};
    setField(record.payload.szMessage, message);
    record.payload.filterId = 200;
    return pmEventCallback(nullptr, "event_ipmi_pet", &record);
}

TEST_F(FanOut, WalksAllFourWhateverFails) {
    const Step off1 = text(enabledKey(1), "0"), off4 = text(enabledKey(4), "0"),
               unknown2 = unreadable(enabledKey(2)), noAddress3 = unreadable(addressKey(3)),
               empty4 = text(addressKey(4), "");
    const Steps fails3 = {relayResults({0, 0, 1, 1}), off4};
    check("event", [] { return notifyOfEvent("Fan 3 failed"); },
          {{.to = "1234",
            .message = TYPE + "Message: Body 4\nFan 3 failed\nTo launch",
            .log = "for filter ID: 200"},
           {.given = {relayResults({1, 1})}, .to = "11234"},
           {.given = {relayResults({0, 0, 0, 1, 1})}, .status = -1, .to = "12344"},
           {.given = fails3,
            .status = -1,
            .to = "1233",
            .log = "sendEmailAlerts() - email notify 4 not enabled"},
           {.given = {unknown2},
            .to = "134",
            .log = "() - could not get email notify 2 enabled from VESK"},
           {.given = {noAddress3},
            .to = "124",
            .log = "could not get email subject 3 or email destination 3"},
           {.given = {unreadable(subjectKey(3))},
            .to = "124",
            .log = "could not get email subject 3 or email"},
           {.given = {unreadable(bodyKey(3))},
            .to = "124",
            .log = "could not get email body for index 3"},
           {.given = {empty4, off1},
            .to = "23",
            .log = "destination 4 zero length string, can't send mail"},
           {.given = {text(subjectKey(4), string(300, 's'))},
            .message = "\nSubject: " + string(254, 's') + "\n"},
           {.given = {text(bodyKey(4), string(255, 'b'))},
            .message = string(254, 'b') + "\nFan 3 failed\n"}});
    check("long event", [] { return notifyOfEvent(string(600, 'm')); },
          {{.message = "Body 4\n" + string(510, 'm') + "\nTo launch"}});
    check("request", [] { return send(sendEmailAlertsEx, alertsRequest("host", "s")); },
          {{.to = "1234", .message = "Subject: host: s\n" + TYPE + "Body\nTo launch"},
           {.given = {relayResults({1, 1})}, .status = -1, .to = "11234"},
           {.given = {relayResults({0, 0, 0, 1, 1})}, .status = -1, .to = "12344"},
           {.given = fails3,
            .status = -1,
            .to = "1233",
            .log = "sendEmailAlertsEx() - email notify 4 not enabled"},
           {.given = {unknown2},
            .status = -1,
            .to = "134",
            .log = "Ex() - could not get email notify 2 enabled from VESK"},
           {.given = {noAddress3},
            .status = -1,
            .to = "124",
            .log = "could not get email destination 3"},
           {.given = {empty4, off1},
            .to = "23",
            .log = "destination 4 is zero length string, can't send mail"}});
}

TEST_F(FanOut, SubjectOfARequest) {
    const string s248(248, 's'), s249(249, 's'), cut = "Could not write entirety to szSubject";
    const Step prefix = text(PREFIX, "Pre");
    const struct {
        string host, subject;
        Case expect;
    } rows[] = {
        {"", "s", {.message = "Subject: s\n"}},
        {"host",
         "s",
         {.given = {unreadable(PREFIX)},
          .message = "Subject: host: s\n",
          .log = "failed to get MessageSubjectPrefix"}},
        {"host", s248, {.message = "Subject: host: " + s248 + "\n"}},
        {"host", s249, {.message = "Subject: host: " + s248 + "\n", .log = cut}},
        {"host", "s", {.given = {prefix}, .message = "Subject: Pre host: s\n"}},
        {"",
         "s",
         {.given = {prefix, text("domain", " a.b.")}, .message = "Subject: Pre ctl1.a.b: s\n"}},
        {"",
         "s",
         {.given = {prefix, text("domain", "(none)")},
          .message = "Subject: Pre ctl1.192.0.2.7: s\n"}},
        {"h",
         "s",
         {.given = {text(PREFIX, string(40, 'p'))},
          .message = "Subject: " + string(32, 'p') + " h: s\n"}},
        // A destination whose domain cannot be had is skipped, and is no failure.
        {"",
         "s",
         {.given = {prefix, unreadable("domain"),
                    during("str pm_str_email_alert1_d", unreadable(IPV4)),
                    during("str pm_str_email_alert2_d", text(IPV4, "1"))},
          .to = "234"}}};
    for (const auto& row : rows) {
        check(row.host,
              [&] { return send(sendEmailAlertsEx, alertsRequest(row.host, row.subject)); },
              {row.expect});
        EXPECT_EQ(row.expect.log == cut, logged(cut) > 0);
    }
}

TEST_F(FanOut, TestMail) {
    const string start = "Event Message: Test email to user.\nSeverity: Informational\nDate/Time: ",
                 date = DATE.substr(6),
                 head = "To: 4@example.org\nSubject: Test email alert from ctl1\n" + TYPE;
    check("", sendIndex<sendTestEmailEx, 4>,
          {{.given = {text(bodyKey(4), "")},
            .message = head + start + date + "\nTo launch",
            .log = "not available for index[4]"},
           {.given = {unreadable(bodyKey(4)), fails("localtime")},
            .message = start + "\n\nTo launch"},
           {.given = {text(bodyKey(4), string(70, 'c'))},
            .message = head + "Message: " + string(63, 'c') + "\n" + start + date},
           {.given = {relayResults({1, 1})}, .status = -1, .to = "44"},
           {.given = {unreadable(addressKey(4))}, .status = -1, .runs = 0}});
}

} // namespace
