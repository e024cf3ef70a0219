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
    EXPECT_EQ("2/220 pmEventCallback(): Invalid notification header, NULL!", script.log.back());
    script.log.clear();
    EXPECT_EQ(0, notify("ipmi_lockdown_config", 3));
    EXPECT_EQ(
        (Lines{"[]: pmEventCallback() - nEventType: 3 szEvent: ipmi_lockdown_config nSize: 785\n",
               "5/220 pmEventCallback(): Entered for topic=<ipmi_lockdown_config>",
               "5/220 pmEventCallback(): HeaderType=3, Size=785."}),
        script.log);
    EXPECT_EQ(Lines{}, script.calls);
    change("runs=00011");
    EXPECT_EQ(-1, notify("event_ipmi_pet", 3));
    EXPECT_NE(string::npos,
              script.commands.at(3).message.find("\n\nMessage: Body 4\nFan 3 failed\nTo launch"));
}

TEST_F(Events, ConfigurationEventRestartsTheSiblingDirectlyOnlyOnFailure) {
    Lines expected = {"function teshServiceRequest 68 68 2 0 qelctl_ipmiextd.service"};
    EXPECT_EQ(0, notify("qelctl_event_config_changed", 3));
    EXPECT_EQ(expected, script.calls);
    restart("function?7");
    EXPECT_EQ(0, notify("qelctl_event_config_changed", 3));
    expected.push_back("exec systemctl restart qelctl_ipmiextd.service");
    EXPECT_EQ(expected, script.calls);
    EXPECT_EQ(1U, logged("sending this cmd to restart service: systemctl restart qelctl_ipmiextd"));
}

TEST_F(Events, DirectoryServicesAreNotOnTogether) {
    const string ad = "Norvu.Embedded.1#ActiveDirectory.1#Enable", on = "log_rlog 1",
                 ldap = "norvu.embedded.1#ldap.1#ENABLE-and-more", off = "log_rlog 2",
                 readAd = "int pam_int_ad_enable_mode_pl",
                 readLdap = "int pam_int_ldap_enable_mode",
                 setAd = "set pam_int_ad_enable_mode_pl 0 1",
                 setLdap = "set pam_int_ldap_enable_mode 0 1";
    // attribute, steps, calls, last line
    const Rows<string, string, Lines, string> cases = {
        {ad, "", {readAd, on, readLdap, setLdap}, "() - LDAP has been disabled\n"},
        {ad,
         "set?1",
         {readAd, on, readLdap, setLdap},
         "not set the value of CONFIG_LDAP_ENABLE_MODE\n"},
        {ad, "pam_int_ldap_enable_mode:0", {readAd, on, readLdap}, "Size=56"},
        {ad, "pam_int_ldap_enable_mode:2", {readAd, on, readLdap}, "Size=56"},
        {ad, "!pam_int_ldap_enable_mode", {readAd, on, readLdap}, "Size=56"},
        {ad, "pam_int_ad_enable_mode_pl:0", {readAd, off}, "Size=56"},
        {ad, "pam_int_ad_enable_mode_pl:3", {readAd, off}, "Size=56"},
        {ad,
         "!pam_int_ad_enable_mode_pl",
         {readAd},
         "not get the value of CONFIG_AD_ENABLE_MODE\n"},
        {ldap, "", {readLdap, readAd, setAd}, "() - AD has been disabled\n"},
        {ldap, "set?1", {readLdap, readAd, setAd}, "not set the value of CONFIG_AD_ENABLE_MODE\n"},
        {ldap, "pam_int_ad_enable_mode_pl:2", {readLdap, readAd}, "Size=56"},
        {ldap, "!pam_int_ad_enable_mode_pl", {readLdap, readAd}, "Size=56"},
        {ldap, "pam_int_ldap_enable_mode:2", {readLdap}, "Size=56"},
        {ldap,
         "!pam_int_ldap_enable_mode",
         {readLdap},
         "get the value of CONFIG_LDAP_ENABLE_MODE\n"},
        {"norvu.embedded.1#ldap.1#enabl", "", {}, "Size=56"},
        {"norvu.embedded.1#lockdown.1#systemlockdown", "", {}, "Size=56"}};
    for (const auto& [name, steps, calls, line] : cases) {
        restart("pam_int_ad_enable_mode_pl:1|pam_int_ldap_enable_mode:1|" + steps, name);
        EXPECT_EQ(0,
                  MiscAttributeChangeCallback(nullptr, "t", attributeChange(name, 1, 56).c_str()));
        EXPECT_EQ(calls, script.calls);
        EXPECT_NE(string::npos, script.log.back().find(line)) << script.log.back();
    }
    restart("");
    for (const auto& [type, size] : Rows<int, uint32_t>{{1, 55}, {3, 57}, {0, 57}})
        MiscAttributeChangeCallback(nullptr, "t", attributeChange(ldap, type, size).c_str());
    MiscAttributeChangeCallback(nullptr, "t", nullptr);
    EXPECT_EQ(3U, logged("5/220 MiscAttributeChangeCallback(): Unsupported notification type"));
    EXPECT_EQ(1U,
              logged("2/220 MiscAttributeChangeCallback(): Invalid notification header, NULL!"));
    EXPECT_EQ(Lines{}, script.calls);
}

TEST_F(Events, SnmpChangeRaisesAnEventOfItsOwn) {
    snmpConfigNotificationCallback(nullptr, nullptr, nullptr);
    snmpConfigNotificationCallback(nullptr, nullptr, attributeChange("", 1, 57).c_str());
    EXPECT_EQ(Lines{}, script.calls);
    snmpConfigNotificationCallback(nullptr, nullptr, attributeChange("x", 77, 0).c_str());
    EXPECT_EQ((Lines{"event pm_event_snmp_config_changed 0 0"}), script.calls);
    EXPECT_EQ(3U, logged("[]: enter to notification callback <--------------------\n"));
    EXPECT_EQ(1U, logged("[]: send pm_event_snmp_config_changed in notification callback.\n"));
    EXPECT_EQ(3U, logged("[]: exit\n"));
}

} // namespace
