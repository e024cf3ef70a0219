// Hostile texts in every setting and every field of a request.
#include "mail_senders.h"
#include "sound_output.h"
#include "trap/functions.h"

using namespace pm;

namespace {

// Apart by "|".
constexpr const char* TEXTS =
    "\"'`|a\nBcc: x@example.org|a\r\nBcc: x@example.org\r\n\r\nx|' ; id ; '|a\\|[]|.|\n|x\r|''|x:y|"
    "a\nSubject: b\nContent-type: text/plain\n\nx|$(id);`id`&id>x<y|-x' -C 'y|-Cx|a b\tc\vd|"
    "%s%n%s%n%99999d|\xff\xfe\xc0\x80 \xe2\x28|x\npasswordeval id\ntls off|\x01\x1b[2J\x7f|"
    "udp6:[::1]:162 .1 '' 6 1 '' .2 s x";

template <typename Record>
std::string bytesOf(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}
const struct {
    int32_t (*function)(uint32_t, void*);
    std::string record;
    std::vector<std::pair<size_t, size_t>> fields; // offset and size; the body is the last
} requests[] = {
    {sendEmailAlertsEx,
     bytesOf(EmailAlertsExStruct{"", "Subject", "Body"}),
     {{0, 255}, {255, 255}, {510, 2040}}},
    {sendTestEmail, bytesOf(testRequest("Body")), {{0, 255}, {255, 255}, {510, 255}}},
    {sendAlertEmail, bytesOf(alertRequest("Body")), {{4, 255}}},
    {sendGenericEmail, genericRequest("x", "Subject", 1, "Body"), {{0, 255}, {255, 255}, {511, 5}}},
    {sendIPMITestTrap, "\x08", {}}};

// The record lies in a block of its own size, so that no byte outside is read unseen.
void run(int32_t (*function)(uint32_t, void*), const std::string& request, bool isBody) {
    const std::unique_ptr<char[]> record(new char[request.size()]);
    std::copy(request.begin(), request.end(), record.get());
    script.calls.clear(), script.commands.clear();
    function(static_cast<uint32_t>(request.size()), record.get());
    expectSoundOutput();
    for (const Command& command : script.commands) {
        const std::string& mail = command.message;
        EXPECT_TRUE(isBody || mail.substr(mail.find("\n\n") + 2, 4) == "Body") << mail;
    }
}

std::string repeated(const std::string& text, size_t size) {
    std::string all;
    while (all.size() < size)
        all += text;
    return all.substr(0, size);
}

class HostileTexts : public Scripted {
  protected:
    template <typename Routine>
    void forEachText(const Routine& routine) {
        std::stringstream all(TEXTS);
        for (std::string text; std::getline(all, text, '|');)
            routine(text);
    }
};

TEST_F(HostileTexts, InEachSetting) {
    const std::string sound = "alert_bool_smtp_auth_enable:1|alert_str_smtp_user=u|domain=(none)|"
                              "alert_str_smtp_password=p|@Remotehosts.1#MessageSubjectPrefix=x|"
                              "pm_bool_email_alert1_enabled:0|pm_bool_email_alert3_enabled:0|"
                              "pm_bool_email_alert4_enabled:0";
    restart(sound);
    std::erase_if(script.answers, [](const auto& each) {
        return std::regex_match(each.first, std::regex(":.*|.*email_alert[134].*"));
    });
    const auto settings = script.answers;
    forEachText([&](const std::string& text) {
        for (const auto& [key, value] : settings) {
            restart(sound, key + " is " + text);
            for (const std::string& whole : {text, repeated(text, 600)}) {
                script.answers[key] = whole;
                for (const auto& [function, record, fields] : requests)
                    run(function, record, false);
            }
        }
    });
}

TEST_F(HostileTexts, InEachFieldOfARequest) {
    forEachText([&](const std::string& text) {
        for (const auto& [function, record, fields] : requests) {
            for (const auto& [offset, size] : fields) {
                for (const std::string& value : {text + '\0', repeated(text, size)}) {
                    restart("", text);
                    std::string changed = record;
                    changed.replace(offset, std::min(size, value.size()), value, 0, size);
                    run(function, changed, offset == fields.back().first);
                    EXPECT_FALSE(script.commands.empty());
                }
            }
        }
    });
}

} // namespace
