// Records. Input: a byte for the function or callback, one for the settings, then the record.
// A request is passed in a block of exactly its size; a notification as platform/host delivers
// it, padded and with its name inside.
#include <unistd.h>

#include "core/config_subscription.h"
#include "core/directory_rule.h"
#include "core/events.h"
#include "mail/functions.h"
#include "platform/distribution.h"
#include "platform/host/record.h"
#include "tests/unit/sound_output.h"
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
