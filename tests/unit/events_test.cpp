// Callbacks: platform events, the sibling's restart, the directory rule, SNMP changes.
#include "core/config_subscription.h"
#include "core/events.h"
#include "mail_senders.h"

namespace {

class Events : public Scripted {};

string attributeChange(const string& name, int type, uint32_t size) {
    const AttributeChangeRecord head = {size, static_cast<uint16_t>(type), {}, 56};
    string record(56, '\x7f');
    std::memcpy(record.data(), &head, sizeof head);
    return record + name;
}

int32_t notify(const char* topic, uint16_t type) {
    EventRecord record = {{785, type, {}}, {}};
    setField(record.payload.szMessage, "Fan 3 failed");
    return pmEventCallback(nullptr, topic, &record);
}

TEST_F(Events, OnlyAnEventOfTheRightTopicDoesAnything) {
    EXPECT_EQ(0, notify("event_ipmi_pet", 1));
    EXPECT_EQ(0, notify("event_ipmi_pet2", 3));
    EXPECT_EQ(0, pmEventCallback(nullptr, "event_ipmi_pet", nullptr));
    EXPECT_EQ(0, notify("ipmi_lockdown_config", 3));
    EXPECT_EQ(Lines{}, script.calls);
    change("runs=00011");
    EXPECT_EQ(-1, notify("event_ipmi_pet", 3));
    EXPECT_NE(string::npos,
              script.commands.at(3).message.find("\n\nMessage: Body 4\nFan 3 failed\nTo launch"));
}

TEST_F(Events, ConfigurationEventAsksForTheSiblingsRestart) {
    EXPECT_EQ(0, notify("qelctl_event_config_changed", 3));
    EXPECT_EQ((Lines{"function teshServiceRequest 68 68 2 0 qelctl_ipmiextd.service"}),
              script.calls);
}

TEST_F(Events, DirectoryServicesAreNotOnTogether) {
    const string ad = "Norvu.Embedded.1#ActiveDirectory.1#Enable",
                 ldap = "norvu.embedded.1#ldap.1#ENABLE-and-more",
                 adMode = "pam_int_ad_enable_mode_pl", ldapMode = "pam_int_ldap_enable_mode",
                 readAd = "int " + adMode, readLdap = "int " + ldapMode, on = "log_rlog 1",
                 off = "log_rlog 2", setAd = words("set", adMode, "0 1"),
                 setLdap = words("set", ldapMode, "0 1");
    // attribute, steps, calls
    const Rows<string, string, Lines> cases = {
        {ad, "", {readAd, on, readLdap, setLdap}},
        {ad, "set?1", {readAd, on, readLdap, setLdap}},
        {ad, ldapMode + ":2", {readAd, on, readLdap}},
        {ad, "!" + ldapMode, {readAd, on, readLdap}},
        {ad, adMode + ":0", {readAd, off}},
        {ad, "!" + adMode, {readAd}},
        {ldap, "", {readLdap, readAd, setAd}},
        {ldap, "set?1", {readLdap, readAd, setAd}},
        {ldap, adMode + ":2", {readLdap, readAd}},
        {ldap, ldapMode + ":2", {readLdap}},
        {ldap, "!" + ldapMode, {readLdap}},
        {"norvu.embedded.1#ldap.1#enabl", "", {}},
        {"norvu.embedded.1#lockdown.1#systemlockdown", "", {}}};
    for (const auto& [name, steps, calls] : cases) {
        restart(adMode + ":1|" + ldapMode + ":1|" + steps, name);
        EXPECT_EQ(0,
                  MiscAttributeChangeCallback(nullptr, "t", attributeChange(name, 1, 56).c_str()));
        EXPECT_EQ(calls, script.calls);
    }
    restart("");
    for (const auto& [type, size] : Rows<int, uint32_t>{{1, 55}, {3, 57}, {0, 57}})
        MiscAttributeChangeCallback(nullptr, "t", attributeChange(ldap, type, size).c_str());
    MiscAttributeChangeCallback(nullptr, "t", nullptr);
    EXPECT_EQ(Lines{}, script.calls);
}

TEST_F(Events, SnmpChangeRaisesAnEventOfItsOwn) {
    snmpConfigNotificationCallback(nullptr, nullptr, nullptr);
    snmpConfigNotificationCallback(nullptr, nullptr, attributeChange("", 1, 57).c_str());
    EXPECT_EQ(Lines{}, script.calls);
    snmpConfigNotificationCallback(nullptr, nullptr, attributeChange("x", 77, 0).c_str());
    EXPECT_EQ((Lines{"event pm_event_snmp_config_changed 0 0"}), script.calls);
}

} // namespace
