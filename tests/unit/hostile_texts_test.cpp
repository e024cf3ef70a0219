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
    int32_t (*function)(uint32_t, void*);
    string record;
    std::vector<std::pair<size_t, size_t>> fields; // offset and size; the body is the last
} requests[] = {
    {sendEmailAlertsEx, bytesOf(alertsRequest("", "s")), {{0, 255}, {255, 255}, {510, 2040}}},
    {sendTestEmail, bytesOf(testRequest("Body")), {{0, 255}, {255, 255}, {510, 255}}},
    {sendAlertEmail, bytesOf(alertRequest("Body")), {{4, 255}}},
    {sendGenericEmail, genericRequest("x", "s", 1, "Body"), {{0, 255}, {255, 255}, {511, 5}}},
    {sendIPMITestTrap, "\x02", {}}};

class HostileTexts : public Scripted {
  protected:
    // The record lies in a block of its own size, so that no byte outside is read unseen.
    void run(int32_t (*function)(uint32_t, void*), const string& request, bool isBody) {
        const std::unique_ptr<char[]> record(new char[request.size()]);
        std::copy(request.begin(), request.end(), record.get());
        function(static_cast<uint32_t>(request.size()), record.get());
        expectSoundOutput();
        for (const RelayRun& mail : script.runs)
            EXPECT_TRUE(isBody || mail.message.find("\n\nBody") != string::npos) << mail.message;
    }
};

string repeated(const string& text, size_t size) {
    string all;
    while (all.size() < size)
        all += text;
    return all.substr(0, size);
}

TEST_F(HostileTexts, InEachSetting) {
    const Steps sound = {text(AUTH, "1"),          text(USER, "u"),
                         text(PASSWORD, "p"),      text(PREFIX, "x"),
                         text("domain", "(none)"), text(enabledKey(1), "0"),
                         text(enabledKey(3), "0"), text(enabledKey(4), "0")};
    begin(sound);
    std::erase_if(script.values, [](const auto& each) { // numbers
        return std::regex_match(each.first,
                                std::regex(".*(_bool_|Enable$|[Ee]nc|dnsreg|clock|bus).*"));
    });
    const auto settings = script.values;
    for (const string& hostile : TEXTS) {
        for (const auto& [key, value] : settings) {
            for (const string& whole : {hostile, repeated(hostile, 600)}) {
                begin(sound, key + " is " + whole);
                script.values[key] = whole;
                for (const auto& [function, record, fields] : requests)
                    run(function, record, false);
            }
        }
    }
}

TEST_F(HostileTexts, InEachFieldOfARequest) {
    for (const string& hostile : TEXTS) {
        for (const auto& [function, record, fields] : requests) {
            for (const auto& [offset, size] : fields) {
                for (const string& value : {hostile + '\0', repeated(hostile, size)}) {
                    begin({}, hostile);
                    string changed = record;
                    changed.replace(offset, std::min(size, value.size()), value, 0, size);
                    run(function, changed, offset == fields.back().first);
                    EXPECT_FALSE(script.runs.empty());
                }
            }
        }
    }
}

} // namespace
