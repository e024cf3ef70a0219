// Records. Input: a byte for the function or callback, one for the settings, then the record.
// A request is passed in a block of exactly its size; a notification as platform/host delivers
// it, padded and with its name inside.
#include <algorithm>
#include <regex>
#include <unistd.h>

#include "core/config_subscription.h"
#include "core/directory_rule.h"
#include "core/events.h"
#include "mail/functions.h"
#include "platform/distribution.h"
#include "platform/host/record.h"
#include "tests/unit/scripted_platform.h"
#include "trap/functions.h"

using namespace pm;
using namespace pm::host;
using pm::client::Frame;

namespace {

constexpr int32_t (*functions[])(uint32_t, void*) = {
    sendEmailAlertsEx, sendTestEmailEx,  sendTestEmail,    sendAlertEmail,
    sendGenericEmail,  sendIPMITestTrap, sendSNMPTestTrap, sendTestTrap};
struct Delivery {
    qornc_event_callback callback;
    const char* topic;
};
constexpr Delivery deliveries[] = {
    {pmEventCallback, "event_ipmi_pet"},
    {pmEventCallback, "qelctl_event_config_changed"},
    {MiscAttributeChangeCallback, "CfgMgr$1$AttributeChange$norvu.embedded.1#ldap.1#enable$"},
    {snmpConfigNotificationCallback, "CfgMgr$1$AttributeChange$norvu.embedded.1#snmp.1#x$"}};
const Steps settings[] = {{text(SENDER, ""), text("domain", "(none)")},
                          {relayResults({1, 1})},
                          {text(PRESENCE, "1")},
                          {text(PREFIX, "[x]"), text("domain", "")},
                          {text(AUTH, "1")},
                          {text(IPV4, "0"), text(IPV6, "1"), text("servers", "6")}};
constexpr unsigned NO_RECORD = 0x40;
constexpr unsigned TEXTS_FROM_RECORD = 0x80; // fills all settings from the record

class Fuzzed : public Scripted {
  public:
    Fuzzed() { GTEST_FLAG_SET(break_on_failure, true); }
    using Scripted::begin;
    using Scripted::TearDown;
    void TestBody() override {}
};

// The first words of all lines. A recipient or subject of a generic mail that was cut has lost
// its line feed, so its line ends at the cut.
std::string firstWords(const std::string& text, size_t cut) {
    std::string all;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string word = text.substr(at, std::min(text.find(' ', at), end) - at);
        const bool isCut = (word == "To:" || word == "Subject:") && end - at >= cut;
        all += word + ' ';
        at = isCut ? at + cut : end + 1;
    }
    return all;
}

// All headers, lines of msmtp's configuration, and commands with their arguments are pm's.
void expectSoundOutput() {
    static const std::regex relay(
        "account timeout host port domain auto_from from auth (user password )?tls_cert_file "
        "tls_key_file tls_starttls tls_force_sslv3 tls_certcheck tls ");
    static const std::regex line(
        "run msmtp -C /tmp/zorqemailconfig\\.txt[0-9]{0,5} -t < "
        "/tmp/zorq[a-z]+(\\.txt|[0-9]+)|exec (systemctl restart "
        "qelctl_ipmiextd\\.service|snmptrap -v 1 -c '[^'\\\\\\x01-\\x1f\\x7f]{0,18}' (udp6:)?\\[?"
        "[\\w.:%][\\w.:%-]*\\]?:[0-9]{1,5} \\.1\\.3\\.6\\.1\\.4\\.1\\.3183\\.1\\.1 '' 6 1001 '' "
        "\\.1\\.3\\.6\\.1\\.4\\.1\\.3183\\.1\\.1\\.1 x '[0-9a-f ]+')");
    for (const RelayRun& run : script.runs) {
        const size_t cut = run.messagePath == MESSAGE_PATH ? std::string::npos : 254;
        const std::string head = run.message.substr(0, run.message.find("\n\n"));
        EXPECT_EQ("Date: From: To: Subject: Content-type: ", firstWords(head, cut));
        EXPECT_TRUE(std::regex_match(firstWords(run.relay, std::string::npos), relay));
    }
    for (const std::string& call : script.calls) {
        const bool runs = call.starts_with("exec ") || call.starts_with("run ");
        EXPECT_TRUE(!runs || std::regex_match(call, line)) << call;
    }
}

void deliver(const Delivery& delivery, std::optional<Frame> came) {
    const bool change = isAttributeChange(delivery.topic);
    Record record;
    if (makeRecord(std::move(came), notificationLength(delivery.topic), change, record) &&
        (!change || nameIsInside(record)))
        delivery.callback(nullptr, delivery.topic, record.data());
}

void request(size_t function, const std::string& came, bool isNull) {
    const std::unique_ptr<char[]> record(new char[came.size()]);
    std::copy(came.begin(), came.end(), record.get());
    functions[function](static_cast<uint32_t>(came.size()), isNull ? nullptr : record.get());
    while (liveBlocks() > 0)
        usleep(20); // until the threads have ended
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Fuzzed fuzzed;
    if (size < 2)
        return 0;
    const std::string came(data + 2, data + size);
    fuzzed.begin({text(AD_MODE, "1"), text(LDAP_MODE, "1")});
    for (auto& [key, value] : script.values) {
        const bool isNumber = !value.empty() && value.find_first_not_of("0123456789") == value.npos;
        if ((data[1] & TEXTS_FROM_RECORD) != 0 &&
            (!isNumber || key == SMTP_PORT || key == TRAP_PORT))
            value = came;
    }
    for (size_t bit = 0; bit < std::size(settings); ++bit) {
        for (const Step& step : settings[bit])
            (data[1] >> bit & 1) != 0 ? step.apply() : void();
    }
    const bool isNull = (data[1] & NO_RECORD) != 0;
    const size_t chosen = data[0] % (std::size(functions) + std::size(deliveries));
    if (chosen < std::size(functions))
        request(chosen, came, isNull);
    else
        deliver(deliveries[chosen - std::size(functions)],
                isNull ? std::nullopt : std::optional<Frame>(came));
    expectSoundOutput();
    fuzzed.TearDown();
    return 0;
}
