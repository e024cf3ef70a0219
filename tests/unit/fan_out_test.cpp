// Alerts to the configured destinations, and the test mail to one of them.
#include "mail/email_alerts.h"
#include "mail_senders.h"

using namespace pm;

namespace {

class FanOut : public Scripted {};

EventPayload event(const string& message = "Fan 3 failed") {
    EventPayload payload;
    std::memset(&payload, 'x', sizeof payload); // what is not read
    setField(payload.szMessage, message);
    payload.filterId = 200;
    return payload;
}

EmailAlertsExStruct request(const string& host, const string& subject,
                            const string& body = "Body text") {
    EmailAlertsExStruct all = {};
    setField(all.szHostName, host);
    setField(all.szSubject, subject);
    setField(all.szBodyText, body);
    return all;
}

string valueOf(const Command& command, const string& header) {
    const size_t start = command.message.find("\n" + header + ": ") + header.size() + 3;
    return command.message.substr(start, command.message.find('\n', start) - start);
}

string destinations() {
    string found;
    for (const Command& command : script.commands)
        found += valueOf(command, "To")[0];
    return found;
}

TEST_F(FanOut, WalksAllFourWhateverFails) {
    const string off = "pm_bool_email_alert";
    // steps, status of the event's walk and the extended one, runs by destination
    const Rows<string, int, int, string> cases = {
        {"", 0, 0, "1234"},
        {"runs=11", 0, -1, "11234"},
        {"runs=00011", -1, -1, "12344"},
        {"runs=0011|" + off + "4_enabled:0", -1, -1, "1233"},
        {"!" + off + "2_enabled", 0, -1, "134"},
        {"!pm_str_email_alert3_destination", 0, -1, "124"},
        {"pm_str_email_alert4_destination=|" + off + "1_enabled:0", 0, 0, "23"}};
    for (const auto& [steps, eventStatus, extendedStatus, to] : cases) {
        const EventPayload payload = event();
        restart(steps);
        EXPECT_EQ(eventStatus, sendEmailAlerts(payload));
        EXPECT_EQ(to, destinations());
        restart(steps, "extended");
        EXPECT_EQ(extendedStatus, send(sendEmailAlertsEx, request("host", "s")));
        EXPECT_EQ(to, destinations());
    }
}

TEST_F(FanOut, EventMailIsComposedFromConfigurationAndEvent) {
    change("pm_str_email_alert1_body=" + string(255, 'b') + // comes unterminated
           "|pm_str_email_alert2_subject=" + string(300, 's') +
           "|!pm_str_email_alert3_body|!pm_str_email_alert4_subject");
    EventPayload payload = event(string(600, 'm')); // runs to the end of its field
    EXPECT_EQ(0, sendEmailAlerts(payload));
    ASSERT_EQ("12", destinations());
    EXPECT_EQ(DATE +
                  "From: pm@example.org\nTo: 1@example.org\nSubject: Subject 1\n"
                  "Content-type: text/plain\n\nMessage: " +
                  string(254, 'b') + "\n" + string(510, 'm') + LINKS_TO("192.0.2.7") "\n\n",
              script.commands[0].message);
    EXPECT_EQ(string(254, 's'), valueOf(script.commands[1], "Subject"));
}

TEST_F(FanOut, ExtendedSubject) {
    const string prefix = "@Remotehosts.1#MessageSubjectPrefix", s248(248, 's'), s249(249, 's');
    // steps, host, subject, composed
    const Rows<string, string, string, string> cases = {
        {"", "", "s", "s"},
        {"!" + prefix, "host", "s", "host: s"},
        {"", "host", s248, "host: " + s248},
        {"", "host", s249, "host: " + s249},
        {prefix + "=Pre", "host", "s", "Pre host: s"},
        {prefix + "=Pre|domain= a.b.", "", "s", "Pre ctl1.a.b: s"},
        {prefix + "=Pre|domain=(none)", "", "s", "Pre ctl1.192.0.2.7: s"},
        {prefix + "=" + string(40, 'p'), "h", "s", string(32, 'p') + " h: s"}};
    for (const auto& [steps, host, subject, composed] : cases) {
        restart(steps);
        EXPECT_EQ(0, send(sendEmailAlertsEx, request(host, subject)));
        ASSERT_EQ("1234", destinations());
        EXPECT_EQ(composed.substr(0, 254), valueOf(script.commands[3], "Subject"));
    }
    // A failed lookup of the literal skips one destination, unmarked.
    restart(prefix + "=Pre|!domain|str pm_str_email_alert1_d>!@IPv4.1#Enable|"
                     "str pm_str_email_alert2_d>@IPv4.1#Enable:1");
    EXPECT_EQ(0, send(sendEmailAlertsEx, request("", "s")));
    EXPECT_EQ("234", destinations());
}

TEST_F(FanOut, RefusesRequestsInOrder) {
    const string gone = "!pm_str_email_server_address",
                 zero = "pm_str_email_server_address=0.0.0.0",
                 empty = "pm_str_email_server_address=|pm_str_email_alert4_destination=";
    EmailAlertsExStruct sound = request("", "s"), noSubject = request("h", ""),
                        noBody = request("h", "s", "");
    uint8_t index[] = {0, 5, 4};
    const Rows<int32_t (*)(uint32_t, void*), uint32_t, void*, string, int> cases = {
        {sendEmailAlertsEx, 0, nullptr, gone, -1},
        {sendEmailAlertsEx, 0, nullptr, zero, -1},
        {sendEmailAlertsEx, 2550, nullptr, empty, -3},
        {sendEmailAlertsEx, 2549, &sound, empty, -3},
        {sendEmailAlertsEx, 2550, &noSubject, empty, -3},
        {sendEmailAlertsEx, 9999, &noBody, empty, -3},
        {sendTestEmailEx, 0, nullptr, gone, -1},
        {sendTestEmailEx, 1, nullptr, empty, -3},
        {sendTestEmailEx, 0, index, empty, -3},
        {sendTestEmailEx, 1, index + 1, empty, -3},
        {sendTestEmailEx, 4, index, empty, -1},
        {sendTestEmailEx, 1, index + 2, empty, -1}};
    for (const auto& [handler, size, data, steps, status] : cases) {
        restart(steps, words(size, data));
        EXPECT_EQ(status, handler(size, data));
        EXPECT_TRUE(script.commands.empty());
    }
}

TEST_F(FanOut, TestMailToADestination) {
    const string body = "Event Message: Test email to user.\nSeverity: Informational\nDate/Time: ",
                 date = "Tue, 14 Nov 2023 22:13:20 +0100\n", key = "pm_str_email_alert";
    const Rows<int, string, string> cases = {
        {1, key + "1_body=", body + date},
        {2, "!" + key + "2_body|localtime?1", body + "\n"},
        {4, key + "4_body=" + string(70, 'c'), "Message: " + string(63, 'c') + "\n" + body + date}};
    for (const auto& [index, steps, sent] : cases) {
        restart("runs=11|" + steps);
        uint8_t data[] = {static_cast<uint8_t>(index), 9};
        EXPECT_EQ(-1, sendTestEmailEx(2, data));
        const Command& command = script.commands.at(1);
        EXPECT_EQ("Test email alert from ctl1", valueOf(command, "Subject"));
        EXPECT_NE(string::npos, command.message.find("\n\n" + sent + LINKS_TO("192.0.2.7") "\n\n"));
        EXPECT_EQ(std::to_string(index) + "@example.org", valueOf(command, "To"));
    }
}

} // namespace
