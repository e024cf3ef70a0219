// Records: a byte for the function or callback, one for the settings, then what came.
// A request is handed over in a block of its own size; a notification as the stand-in
// delivers it, padded and with its name inside.
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
constexpr const char* settings[] = {"@Remotehosts.1#SenderEmail=|domain=(none)",
                                    "runs=11",
                                    "zuvastatus_bool_zuva_present:1",
                                    "@Remotehosts.1#MessageSubjectPrefix=[x]|domain=",
                                    "alert_bool_smtp_auth_enable:1",
                                    "@IPv4.1#Enable:0|@IPv6.1#Enable:1|servers=6"};
constexpr unsigned NO_RECORD = 0x40;
constexpr unsigned TEXTS_FROM_RECORD = 0x80; // in all settings

class Fuzzed : public Scripted {
  public:
    Fuzzed() { GTEST_FLAG_SET(break_on_failure, true); }
    using Scripted::restart;
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
    fuzzed.restart("pam_int_ad_enable_mode_pl:1|pam_int_ldap_enable_mode:1|reply:0");
    for (size_t bit = 0; bit < std::size(settings); ++bit)
        change((data[1] >> bit & 1) != 0 ? settings[bit] : "");
    for (auto& [key, text] : script.answers) {
        if ((data[1] & TEXTS_FROM_RECORD) != 0 && (key[0] == '=' || key[0] == '~'))
            text = came;
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
