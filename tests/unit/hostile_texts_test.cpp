// Hostile texts in each setting and in each field of a request.
#include "requests.h"
#include "sound_output.h"

namespace {

const Lines TEXTS = {"\"'`",
                     "a\nBcc: x@example.org",
                     "a\r\nBcc: x@example.org\r\n\r\nx",
                     "' ; id ; '",
                     "a\\",
                     "[]",
                     ".",
                     "\n",
                     "x\r",
                     "''",
                     "x:y",
                     "a\nSubject: b\nContent-type: text/plain\n\nx",
                     "-x' -C 'y",
                     "$(id);`id`&id>x<y|z",
                     "-Cx",
                     "a b\tc\vd",
                     "%s%n%s%n%99999d",
                     "\xff\xfe\xc0\x80 \xe2\x28",
                     "x\npasswordeval id\ntls off",
                     "\x01\x1b[2J\x7f",
                     "udp6:[::1]:162 .1 '' 6 1 '' .2 s x"};

template <typename Record>
string bytesOf(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}
const struct {
    Handler handler;
    string record;
    std::vector<std::pair<size_t, size_t>> fields; // offset and size; the body is last
} requests[] = {
    {sendEmailAlertsEx, bytesOf(alertsRequest("", "s")), {{0, 255}, {255, 255}, {510, 2040}}},
    {sendTestEmail, bytesOf(testRequest("Body")), {{0, 255}, {255, 255}, {510, 255}}},
    {sendAlertEmail, bytesOf(alertRequest("Body")), {{4, 255}}},
    {sendGenericEmail, genericRequest("x", "s", 1, "Body"), {{0, 255}, {255, 255}, {511, 5}}},
    {sendIPMITestTrap, "\x02", {}}};

// Settings that go into a mail, msmtp's configuration or a trap.
const Lines KEYS = {SERVER,   SENDER,   USER,        PASSWORD,  PREFIX,       SMTP_PORT,
                    HOST,     ADDRESS4, ADDRESS6,    TRAP_PORT, TRAP_ADDRESS, addressKey(2),
                    "domain", "guid",   "host name", "chassis", "community",  subjectKey(2)};

// The record has a block of exactly its size, so that a read outside is detected.
void run(Handler handler, const string& request, const string& body) {
    script.calls.clear(), script.runs.clear();
    std::vector<char> exact(request.begin(), request.end());
    handler(static_cast<uint32_t>(exact.size()), exact.data());
    expectSoundOutput();
    for (const RelayRun& mail : script.runs)
        EXPECT_NE(string::npos, mail.message.find("\n\n" + body)) << mail.message;
}

class HostileTexts : public Scripted {};

TEST_F(HostileTexts, InEachSettingAndField) {
    const Steps valid = {text(AUTH, "1"),          text(USER, "u"),
                         text(PASSWORD, "p"),      text(PREFIX, "x"),
                         text("domain", "(none)"), text(enabledKey(1), "0"),
                         text(enabledKey(3), "0"), text(enabledKey(4), "0")};
    for (string hostile : TEXTS) {
        for (const size_t enough : {size_t{0}, size_t{600}}) { // least size, by repetition
            for (const string once = hostile; hostile.size() < enough;)
                hostile += once;
            for (const string& key : KEYS) {
                begin(valid, key + " is " + hostile);
                script.values[key] = hostile;
                for (const auto& [handler, record, fields] : requests)
                    run(handler, record, "Body");
            }
            for (const auto& [handler, record, fields] : requests) {
                for (const auto& [offset, size] : fields) {
                    begin({}, hostile);
                    string changed = record;
                    const size_t length = std::min(size, hostile.size() + 1);
                    changed.replace(offset, length, hostile.c_str(), length);
                    run(handler, changed, offset == fields.back().first ? "" : "Body");
                    EXPECT_FALSE(script.runs.empty());
                }
            }
        }
    }
}

} // namespace
