// The attempt frame: every failure in every sender.
#include "mail_senders.h"

namespace {

class Frame : public Scripted {};

// Pieces of a message, by letter: Date, From, To, Subject, Content-type, Body, end.
string message(const char* letters, const TestedSender& sender) {
    const std::map<char, string> pieces = {{'D', DATE},
                                           {'F', "From: pm@example.org\n"},
                                           {'T', "To: 2@example.org\n"},
                                           {'S', "Subject: Subject 2\n"},
                                           {'C', "Content-type: text/plain\n\n"},
                                           {'B', sender.body},
                                           {'E', "\n\n"}};
    string text;
    for (; *letters != '\0'; ++letters)
        text += pieces.at(*letters);
    return text;
}

struct Cell {
    int32_t status;
    size_t attempts, runs;
    const char* pieces = "DFTSCBE"; // that the relay gets
};

// "$M" and "$R" stand for the paths of message and relay configuration, "$X" for the
// offset of the piece in front of which the message can't be written on.
struct FailureRow {
    const char* change;
    Cell cells[4];
    const char* failingPiece = "";
};

const char* const FAIL_PIECE = "$R^/dev/null|bool alert_bool>limit=$X"; // at each attempt
const FailureRow failureRows[] = {
    {"", {{0, 1, 1}, {0, 1, 1}, {0, 1, 1}, {0, 1, 1}}},
    {"!pm_str_email_server_address", {{-17, 2, 0}, {-17, 1, 0}, {-17, 1, 0}, {-17, 1, 0}}},
    {"!@IPv4.1#Enable", {{-1, 1, 0}, {-1, 1, 0}, {-1, 1, 0}, {-1, 1, 0}}},
    {"!@network.1#dnsregister|!zuvastatus_bool_zuva_present",
     {{0, 1, 1}, {0, 1, 1}, {0, 1, 1}, {0, 1, 1}}},
    {"!pm_str_email_alert2_destination", {{0, 1, 1}, {0, 1, 1}, {-17, 2, 0}, {0, 1, 1}}},
    {"!pm_str_email_alert2_subject", {{0, 1, 1}, {0, 1, 1}, {-17, 2, 0}, {0, 1, 1}}},
    {"!alert_bool_smtp_auth_enable", {{-3, 1, 0}, {-3, 1, 0}, {-3, 1, 0}, {-3, 1, 0}}},
    {"!alert_bool_smtp_auth_enable|!pm_str_email_alert2_subject",
     {{-3, 1, 0}, {-3, 1, 0}, {-3, 1, 0}, {-3, 1, 0}}},
    {"$M^/nonexistent/m", {{-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}},
    {"$R^/nonexistent/r", {{-17, 1, 0}, {-17, 1, 0}, {-17, 1, 0}, {-17, 1, 0}}},
    {"$R^/dev/full", {{-17, 1, 0}, {-17, 1, 0}, {-17, 1, 0}, {-17, 1, 0}}},
    {"bool alert_bool>$M^/dev/full", {{0, 1, 1, ""}, {-17, 2, 0}, {0, 1, 1, ""}, {0, 1, 1, ""}}},
    {FAIL_PIECE,
     {{0, 1, 1, "FTSCBE"}, {0, 1, 1, "FTSCBE"}, {0, 1, 1, "FTSCBE"}, {0, 1, 1, "FTSCBE"}}},
    {FAIL_PIECE, {{0, 1, 1, "DTSCBE"}, {-17, 2, 0}, {0, 1, 1, "D"}, {0, 1, 1, "D"}}, "D"},
    {FAIL_PIECE, {{0, 1, 1, "DFSCBE"}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}, "DF"},
    {FAIL_PIECE, {{0, 1, 1, "DFTCBE"}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}, "DFT"},
    {FAIL_PIECE, {{0, 1, 1, "DFTSBE"}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}, "DFTS"},
    {FAIL_PIECE,
     {{0, 1, 1, "DFTSCE"}, {0, 1, 1, "DFTSC"}, {0, 1, 1, "DFTSC"}, {0, 1, 1, "DFTSC"}},
     "DFTSC"},
    {FAIL_PIECE,
     {{0, 1, 1, "DFTSCB"}, {0, 1, 1, "DFTSCB"}, {0, 1, 1, "DFTSCB"}, {0, 1, 1, "DFTSCB"}},
     "DFTSCB"},
    {"runs=55", {{-1, 2, 2}, {-1, 2, 2}, {-1, 2, 2}, {-1, 2, 2}}},
    {"runs=5", {{0, 2, 2}, {0, 2, 2}, {0, 2, 2}, {0, 2, 2}}},
    {"runs=5|run>!@IPv6.1#Enable", {{-1, 2, 1}, {-1, 2, 1}, {-1, 2, 1}, {-1, 2, 1}}},
    {"runs=5|run>$R^/nonexistent/r", {{-17, 2, 1}, {-17, 2, 1}, {-17, 2, 1}, {-17, 2, 1}}}};

string stepsFor(const FailureRow& row, const TestedSender& sender) {
    string steps = row.change;
    const string values[][2] = {{"$M", sender.message},
                                {"$R", sender.relay},
                                {"$X", std::to_string(message(row.failingPiece, sender).size())}};
    for (const auto& [name, value] : values) {
        for (size_t at; (at = steps.find(name)) != string::npos;)
            steps.replace(at, 2, value);
    }
    return steps;
}

TEST_F(Frame, EachFailureOfEachSender) {
    for (const FailureRow& row : failureRows) {
        for (int i = 0; i < 4; ++i) {
            const TestedSender& sender = testedSenders[i];
            const Cell& cell = row.cells[i];
            const string &name = sender.name, steps = stepsFor(row, sender);
            restart(steps, name);
            EXPECT_EQ(cell.status, sender.send());
            change("limit=-1");
            EXPECT_EQ(cell.attempts, countOf(script.calls, "str pm_str_email_server_address 255"));
            EXPECT_EQ(cell.runs, script.commands.size());
            for (const Command& command : script.commands)
                EXPECT_EQ(message(cell.pieces, sender), command.message);
            for (const TestedSender& other : testedSenders)
                EXPECT_EQ(&other == &sender && cell.attempts == 2, other.flag->load() != 0);
            // Ended by the rule, or at once by a final failure.
            const bool byRule =
                cell.runs == cell.attempts || (cell.attempts == 2 && cell.runs == 0);
            EXPECT_EQ(byRule && i != 3 ? 1U : 0U, logged(" Exiting " + name + "()\n"));
            const string entry = "Entering `" + name + "' with MSE compatibility ";
            EXPECT_EQ(i != 3 ? 1U : 0U, logged(entry + "disabled"));
            EXPECT_EQ(i != 3 && cell.attempts == 2 ? 1U : 0U, logged(entry + "enabled"));
            EXPECT_EQ(i == 2 ? cell.runs : 0U, countOf(script.calls, "log_rlog 0 2@example.org"));
            const Lines left = mailFiles(); // an unopenable message is a link of the test's own
            const bool unopenable = steps.starts_with(sender.message) && i != 3;
            EXPECT_EQ(unopenable ? 1U : 0U, countOf(left, sender.message));
            if (i == 3 || cell.runs > 0) {
                EXPECT_EQ(i == 3 ? 0U : 1U, countOf(left, sender.relay));
            }
            restart("");
            EXPECT_EQ(0, testedSenders[0].send()); // the lock is free, or this hangs
        }
    }
}

TEST_F(Frame, EachSendersLines) {
    const Rows<int, string, size_t, string> cases = {
        // sender, steps, count, line
        {0, "!pm_str_email_server_address", 2, "sendEmail() - could not get server address\n"},
        {1, "!pm_str_email_server_address", 1, "sendTestEmail() - Failed to get email server"},
        {2, "!pm_str_email_server_address", 1, "sendAlertEmail() - Failed to get email server"},
        {3, "!pm_str_email_server_address", 1, "pthread_sendGenericEmail() - Failed to get email"},
        {0, "!@network.1#dnsregister", 1, "getCurrDnsRegister() - CurrDnsRegister=-1\n"},
        {0, "/tmp/zorqemail.txt^/none/m", 2, "could not open /tmp/zorqemail.txt\n"},
        {1, "bool alert_bool>/tmp/zorqemail.txt^/dev/full", 2,
         "could not be written to the output"},
        {0, "runs=55", 2, "sendEmail() - nReturn=[5]\n"},
        {1, "runs=55", 2, "sendTestEmail() - test email system call result: 5\n"},
        {1, "runs=55", 2, "sendTestEmail() - send test email failed, return code:5 error: "},
        {2, "runs=55", 2, "sendAlertEmail() - nReturn=[5]\n"},
        {3, "runs=55", 2, "pthread_sendGenericEmail() - nReturn=[5]\n"},
        {0, "", 1, "sendEmail() - szText=[msmtp -C /tmp/zorqemailconfig.txt -t]\n"},
        {1, "", 1, "sendTestEmail() - from entry: From: pm@example.org\n\n"},
        {3, "", 1, "szText=[msmtp -C /tmp/zorqemailconfig.txt4242 -t]\n"}};
    for (const auto& [sender, steps, count, line] : cases) {
        restart(steps);
        testedSenders[sender].send();
        EXPECT_EQ(count, logged(line)) << line;
    }
}

TEST_F(Frame, RefusesRequestsByNullThenSizeThenIndex) {
    TestEmailStruct test = testRequest("");
    AlertEmailStruct alert = alertRequest(""),
                     bad[] = {alertRequest("", 0), alertRequest("", 5), alertRequest("", -1)};
    // handler, size, request, steps, status, attempts, runs, line
    const Rows<int32_t (*)(uint32_t, void*), uint32_t, void*, string, int, size_t, size_t, string>
        cases = {{sendTestEmail, 0, nullptr, "", -3, 1, 0, "pTestEmailStruct is NULL"},
                 {sendTestEmail, 764, &test, "", -3, 2, 0, "less than sizeof(TestEmailStruct)"},
                 {sendTestEmail, 765, &test, "", 0, 1, 1, "test email system call result: 0"},
                 {sendTestEmail, 765, nullptr, "!pm_str_email_server_address", -17, 1, 0,
                  "Failed to get"},
                 {sendAlertEmail, 260, nullptr, "", -3, 1, 0, "pAlertEmailStruct is NULL"},
                 {sendAlertEmail, 259, &alert, "", -3, 2, 0, "less than sizeof(AlertEmailStruct)"},
                 {sendAlertEmail, 260, &alert, "", 0, 1, 1, "sendAlertEmail() - nReturn=[0]"},
                 {sendAlertEmail, 260, &bad[0], "", -17, 2, 0, "getEmailEncrypt()\n"},
                 {sendAlertEmail, 260, &bad[1], "", -17, 2, 0, "getEmailEncrypt()\n"},
                 {sendAlertEmail, 260, &bad[2], "!alert_bool_smtp_auth_enable", -3, 1, 0,
                  "auth enabled"}};
    for (const auto& [handler, size, request, steps, status, attempts, runs, line] : cases) {
        restart(steps);
        EXPECT_EQ(status, handler(size, request));
        EXPECT_EQ(attempts, logged(line)) << line;
        EXPECT_EQ(runs, script.commands.size());
        EXPECT_EQ(runs, mailFiles().size());
        EXPECT_EQ(attempts == 2, (bMseCompatTestEmail.load() | bMseCompatAlertEmail.load()) != 0);
    }
}

TEST_F(Frame, ReadsInOrderAtEachAttempt) {
    const Lines common = {"attr @Remotehosts.1#SenderEmail 255",
                          "str pm_str_email_server_address 255",
                          "attrint @IPv4.1#Enable",
                          "attrint @IPv6.1#Enable",
                          "attr @IPv4.1#Address 64",
                          "attr @IPv6.1#Address1 64",
                          "getaddrinfo mail.example.org",
                          "getdomainname 255"};
    const Lines settings = {"object @Remotehosts.1#smtpport",
                            "body",
                            "string",
                            "attrint @Remotehosts.1#ConnectionEncryption",
                            "bool alert_bool_smtp_auth_enable",
                            "localtime"};
    const Lines own[4] = {{"attr @network.1#dnsnvcname 255", "attrint @network.1#dnsregister"},
                          {"attr @network.1#dnsnvcname 255", "bool zuvastatus_bool_zuva_present"},
                          {"attr @network.1#dnsnvcname 255", "bool zuvastatus_bool_zuva_present",
                           "str pm_str_email_alert2_subject 255",
                           "str pm_str_email_alert2_destination 255"},
                          {}};
    const Lines ends[4] = {
        {"run msmtp -C /tmp/zorqemailconfig.txt -t"},
        {"run msmtp -C /tmp/zorqemailconfig.txt -t"},
        {"run msmtp -C /tmp/zorqemailconfig.txt -t", "log_rlog 0 2@example.org"},
        {"attr @network.1#dnsnvcname 255", "run msmtp -C /tmp/zorqemailconfig.txt4242 -t"}};
    for (int i = 0; i < 4; ++i) {
        restart("runs=1", testedSenders[i].name);
        EXPECT_EQ(0, testedSenders[i].send());
        Lines expected;
        for (int attempt = 0; attempt < 2; ++attempt) {
            for (const Lines& part : {common, own[i], settings, ends[i]})
                expected.insert(expected.end(), part.begin(), part.end());
        }
        std::erase_if(script.calls, [](const string& call) { return call.starts_with("thread"); });
        EXPECT_EQ(expected, script.calls);
        // The Date line comes before the relay configuration, or behind it.
        restart(testedSenders[i].relay + "^/nonexistent/r");
        EXPECT_EQ(-17, testedSenders[i].send());
        EXPECT_EQ(i < 2 ? 0U : 1U, countOf(script.calls, "localtime"));
    }
}

TEST_F(Frame, FlagOutlivesTheCall) {
    for (const TestedSender& sender : testedSenders) {
        restart("domain=(none)|runs=111", sender.name);
        for (const int32_t status : {-1, 0, 0})
            EXPECT_EQ(status, sender.send());
        string brackets;
        for (const Command& command : script.commands)
            brackets += command.relay.find("domain [192.0.2.7]\n") != string::npos ? '1' : '0';
        EXPECT_EQ("10011", brackets) << sender.name;
    }
}

} // namespace
