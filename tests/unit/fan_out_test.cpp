// Alerts to the configured destinations, and the test mail to one of them.
#include "requests.h"

namespace {

class FanOut : public Cases {};

// An event whose other fields are filled with garbage.
int32_t notifyOfEvent(const string& message) {
    EventRecord record;
    std::memset(&record, 'm', sizeof record);
    record.header = {sizeof record, HEADER_TYPE_EVENT, {}};
    setField(record.payload.szMessage, message);
    record.payload.filterId = 200;
    return pmEventCallback(nullptr, "event_ipmi_pet", &record);
}

const Step ONE_OFF = text(enabledKey(1), "0"), EMPTY_4 = text(addressKey(4), ""),
           PRE = text(PREFIX, "Pre"), ONE_FAILS = relayResults({1, 1}),
           THREE_FAILS = relayResults({0, 0, 1, 1}), FOUR_OFF = text(enabledKey(4), "0"),
           FOUR_FAILS = relayResults({0, 0, 0, 1, 1}), LONG_4 = text(bodyKey(4), string(255, 'b'));
const string B254(254, 'b'), S300(300, 's'), M510(510, 'm'), EVENT = "\nFan 3 failed\nTo launch";

const std::vector<Case> EVENT_CASES = {
    {.to = "1234", .message = TYPE + "Message: Body 4" + EVENT, .log = "for filter ID: 200"},
    {.given = {ONE_OFF, unreadable(bodyKey(2)), unreadable(bodyKey(3)), FOUR_OFF}, .to = ""},
    {.given = {ONE_FAILS}, .to = "11234"},
    {.given = {FOUR_FAILS}, .status = -1, .to = "12344"},
    {.given = {THREE_FAILS, FOUR_OFF}, .status = -1, .to = "1233", .log = "notify 4 not enabled"},
    {.given = {unreadable(enabledKey(2))}, .to = "134", .log = "notify 2 enabled from VESK"},
    {.given = {unreadable(addressKey(3))}, .to = "124", .log = "subject 3 or email destination 3"},
    {.given = {unreadable(subjectKey(3))}, .to = "124", .log = "subject 3 or email destination 3"},
    {.given = {unreadable(bodyKey(3))}, .to = "124", .log = "get email body for index 3"},
    {.given = {EMPTY_4, ONE_OFF}, .to = "23", .log = "destination 4 zero length string, can't"},
    {.given = {text(subjectKey(4), S300)}, .message = "t: " + S300.substr(46) + "\nContent"},
    {.given = {LONG_4}, .message = TYPE + "Message: " + B254 + EVENT}};

const std::vector<Case> REQUEST_CASES = {
    {.to = "1234", .message = "\nSubject: host: s\n" + TYPE + "Body\nTo launch"},
    {.given = {ONE_FAILS}, .status = -1, .to = "11234"},
    {.given = {FOUR_FAILS}, .status = -1, .to = "12344"},
    {.given = {THREE_FAILS, FOUR_OFF}, .status = -1, .to = "1233", .log = "notify 4 not enabled"},
    {.given = {unreadable(enabledKey(2))}, .status = -1, .to = "134", .log = "notify 2 enabled"},
    {.given = {unreadable(addressKey(3))}, .status = -1, .to = "124", .log = "get email destinati"},
    {.given = {EMPTY_4, ONE_OFF}, .to = "23", .log = "destination 4 is zero length string, can't"},
    {.given = {unreadable(PREFIX)}, .message = "Subject: host: s\n", .log = "get MessageSubjectPr"},
    {.given = {PRE}, .message = "Subject: Pre host: s\n"},
    {.given = {text(PREFIX, M510)}, .message = ": " + M510.substr(478) + " host: s\n"}};

const std::vector<Case> NO_HOST_CASES = {
    {.message = "\nSubject: s\n", .log = "empty MessageSubjectPrefix string"},
    {.given = {PRE, text("domain", " a.b.")}, .message = "Subject: Pre ctl1.a.b: s\n"},
    {.given = {PRE, text("domain", "(none)")}, .message = "Subject: Pre ctl1.192.0.2.7: s\n"},
    {.name = "a destination whose domain cannot be had is skipped, and is no failure",
     .given = {PRE, unreadable("domain"), during("str pm_str_email_alert1_d", unreadable(IPV4)),
               during("str pm_str_email_alert2_d", text(IPV4, "1"))},
     .to = "234"}};

const string TEST = "Event Message: Test email to user.\nSeverity: Informational\nDate/Time: ",
             TO_4 = "To: 4@example.org\nSubject: Test email alert from ctl1\n" + TYPE;

const std::vector<Case> TEST_CASES = {
    {.given = {text(bodyKey(4), "")}, .message = TO_4 + TEST + DATE.substr(6) + "\nTo launch"},
    {.given = {unreadable(bodyKey(4))}, .message = TO_4 + TEST, .log = "not available for"},
    {.given = {fails("localtime")}, .message = TO_4 + "Message: Body 4\n" + TEST + "\n\nTo launch"},
    {.given = {LONG_4}, .message = TO_4 + "Message: " + B254.substr(191) + "\n" + TEST},
    {.given = {ONE_FAILS}, .status = -1, .to = "44"},
    {.given = {unreadable(addressKey(4))}, .status = -1, .calls = 2, .log = "destination 4, or"}};

TEST_F(FanOut, EachValueAndFailure) {
    check(
        "event", [] { return notifyOfEvent("Fan 3 failed"); }, EVENT_CASES);
    check("long event", [] { return notifyOfEvent(string(600, 'm')); },
          {{.message = "Message: Body 4\n" + M510 + "\nTo launch"}});
    const auto request = [](const string& host, const string& subject) {
        return [=] { return send(sendEmailAlertsEx, alertsRequest(host, subject)); };
    };
    check("request", request("host", "s"), REQUEST_CASES);
    check("no host", request("", "s"), NO_HOST_CASES);
    const string s248(248, 's'), cut = "Could not write entirety to szSubject";
    check("fits", request("host", s248), {{.message = "Subject: host: " + s248 + "\n"}});
    EXPECT_EQ(0U, logged(cut));
    check("cut", request("host", s248 + "s"), {{.message = "t: " + s248 + "\n", .log = cut}});
    check(
        "test", [] { return send(sendTestEmailEx, IndexRequest{4}); }, TEST_CASES);
}

} // namespace
