// The attempt frame: every failure in every sender.
#include <regex>

#include "mail_senders.h"

using namespace pm;

namespace {

class Frame : public Scripted {};

// Pieces of a message, by letter: Date, From, To, Subject, Content-type, Body, end; d and f
// are the first two without a clock and without a sender's address.
string message(const char* letters, const TestedSender& sender) {
    const std::map<char, string> pieces = {
        {'D', DATE},
        {'F', "From: pm@example.org\n"},
        {'T', "To: 2@example.org\n"},
        {'S', "Subject: Subject 2\n"},
        {'C', "Content-type: text/plain\n\n"},
        {'B', sender.body},
        {'E', "\n\n"},
        {'d', "Date: \n"},
        {'f', sender.flag == &bMseCompatAlertEmail ? "From: ctl1\n" : "From: ctl1@example.org\n"}};
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

// One cell is all four senders'. "$M" and "$R" stand for the paths of message and relay
// configuration, "$X" for the offset of the piece in front of which the message can't be
// written on.
struct FailureRow {
    const char* change;
    std::vector<Cell> cells;
    const char* failingPiece = "";
};

const char* const FAIL_PIECE = "$R^/dev/null|bool alert_bool>limit=$X"; // at each attempt
const FailureRow failureRows[] = {
    {"", {{0, 1, 1}}},
    {"!pm_str_email_server_address|!@IPv4.1#Enable",
     {{-17, 2, 0}, {-17, 1, 0}, {-17, 1, 0}, {-17, 1, 0}}},
    {"!@IPv4.1#Enable|!alert_bool_smtp_auth_enable", {{-1, 1, 0}}},
    {"!@network.1#dnsregister|!zuvastatus_bool_zuva_present", {{0, 1, 1}}},
    {"@Remotehosts.1#SenderEmail=|localtime?1", {{0, 1, 1, "dfTSCBE"}}},
    {"!pm_str_email_alert2_destination", {{0, 1, 1}, {0, 1, 1}, {-17, 2, 0}, {0, 1, 1}}},
    {"!pm_str_email_alert2_subject", {{0, 1, 1}, {0, 1, 1}, {-17, 2, 0}, {0, 1, 1}}},
    {"!alert_bool_smtp_auth_enable|!pm_str_email_alert2_subject", {{-3, 1, 0}}},
    {"$M^/nonexistent/m", {{-17, 2, 0}}},
    {"$R^/nonexistent/r", {{-17, 1, 0}}},
    {"bool alert_bool>$M^/dev/full", {{0, 1, 1, ""}, {-17, 2, 0}, {0, 1, 1, ""}, {0, 1, 1, ""}}},
    {FAIL_PIECE, {{0, 1, 1, "FTSCBE"}}},
    {FAIL_PIECE, {{0, 1, 1, "DTSCBE"}, {-17, 2, 0}, {0, 1, 1, "D"}, {0, 1, 1, "D"}}, "D"},
    {FAIL_PIECE, {{0, 1, 1, "DFSCBE"}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}, "DF"},
    {FAIL_PIECE, {{0, 1, 1, "DFTCBE"}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}, "DFT"},
    {FAIL_PIECE, {{0, 1, 1, "DFTSBE"}, {-17, 2, 0}, {-17, 2, 0}, {-17, 2, 0}}, "DFTS"},
    {FAIL_PIECE,
     {{0, 1, 1, "DFTSCE"}, {0, 1, 1, "DFTSC"}, {0, 1, 1, "DFTSC"}, {0, 1, 1, "DFTSC"}},
     "DFTSC"},
    {FAIL_PIECE, {{0, 1, 1, "DFTSCB"}}, "DFTSCB"},
    {"runs=55", {{-1, 2, 2}}},
    {"runs=5", {{0, 2, 2}}},
    {"runs=5|run>!@IPv6.1#Enable", {{-1, 2, 1}}},
    {"runs=5|run>$R^/nonexistent/r", {{-17, 2, 1}}}};

string stepsFor(const FailureRow& row, const TestedSender& sender) {
    const string offset = std::to_string(message(row.failingPiece, sender).size());
    string steps = std::regex_replace(row.change, std::regex("\\$M"), sender.message);
    steps = std::regex_replace(steps, std::regex("\\$R"), sender.relay);
    return std::regex_replace(steps, std::regex("\\$X"), offset);
}

size_t attempts() {
    return countOf(script.calls, "str pm_str_email_server_address 255");
}

TEST_F(Frame, EachFailureOfEachSender) {
    for (const FailureRow& row : failureRows) {
        for (size_t i = 0; i < 4; ++i) {
            const TestedSender& sender = testedSenders[i];
            const Cell& cell = row.cells[row.cells.size() == 1 ? 0 : i];
            const string steps = stepsFor(row, sender);
            restart(steps, sender.name);
            EXPECT_EQ(cell.status, sender.send());
            change("limit=-1");
            EXPECT_EQ(cell.attempts, attempts());
            EXPECT_EQ(cell.runs, script.commands.size());
            for (const Command& command : script.commands) {
                EXPECT_EQ(message(cell.pieces, sender), command.message);
                EXPECT_EQ("msmtp -C " + sender.relay + " -t", command.line);
                EXPECT_EQ(sender.message, command.inputPath);
            }
            for (const TestedSender& other : testedSenders)
                EXPECT_EQ(&other == &sender && cell.attempts == 2, other.flag->load() != 0);
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

TEST_F(Frame, RefusesRequestsByNullThenSizeThenIndex) {
    TestEmailStruct test = testRequest(""), nobody = {};
    AlertEmailStruct alert = alertRequest(""), bad[] = {alertRequest("", 0), alertRequest("", -1)};
    // handler, size, request, steps, status, attempts, runs
    const Rows<int32_t (*)(uint32_t, void*), uint32_t, void*, string, int, size_t, size_t> cases = {
        {sendTestEmail, 0, nullptr, "", -3, 1, 0},
        {sendTestEmail, 764, &test, "", -3, 2, 0},
        {sendTestEmail, 765, nullptr, "!pm_str_email_server_address", -17, 1, 0},
        {sendAlertEmail, 260, nullptr, "", -3, 1, 0},
        {sendAlertEmail, 259, &alert, "", -3, 2, 0},
        {sendAlertEmail, 260, &alert, "", 0, 1, 1},
        {sendAlertEmail, 9999, &alert, "pm_str_email_alert2_destination=", 0, 1, 1},
        {sendTestEmail, 9999, &nobody, "", 0, 1, 1},
        {sendAlertEmail, 260, &bad[0], "", -17, 2, 0},
        {sendAlertEmail, 260, &bad[1], "!alert_bool_smtp_auth_enable", -3, 1, 0}};
    for (const auto& [handler, size, request, steps, status, made, runs] : cases) {
        restart(steps, words(size, request));
        EXPECT_EQ(status, handler(size, request));
        EXPECT_EQ(made, attempts());
        EXPECT_EQ(runs, script.commands.size());
        EXPECT_EQ(runs, mailFiles().size());
        EXPECT_EQ(made == 2, (bMseCompatTestEmail.load() | bMseCompatAlertEmail.load()) != 0);
    }
}

TEST_F(Frame, DateLineComesBeforeTheRelayConfigurationOrBehindIt) {
    for (size_t i = 0; i < 4; ++i) {
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
