// Who a mail comes from, how the relay is reached, and the reader of attribute objects.
#include <cstring>

#include "config/attribute_object.h"
#include "mail/domain_literal.h"
#include "mail/email_config_args.h"
#include "mail/endpoint.h"
#include "mail/hostname.h"
#include "mail/sender_address.h"
#include "scripted_platform.h"

using namespace pm;

namespace {

class Identity : public Scripted {};

TEST_F(Identity, ChoosesDomainLiteralByServersFamily) {
    const string only6 = "@IPv4.1#Enable:0|@IPv6.1#Enable:1|servers=46", v6 = "IPv6:2001:db8::7";
    const string digits(63, '1'), both = "@IPv6.1#Enable:1|";
    const Rows<string, int, string, size_t> cases = {
        // ..., lookups
        {"", 1, "192.0.2.7", 1},
        {both + "servers=64", 1, "192.0.2.7", 1},
        {both + "servers=6", 2, v6, 2},
        {only6, 2, v6, 1},
        {only6 + "|@IPv6.1#Address1=::", -1, "", 1},
        {"@IPv4.1#Enable:2|@IPv6.1#Enable:2", -1, "", 0},
        {"servers=", -1, "", 1},
        {"@IPv4.1#Address=", 1, "", 1},
        {"@IPv4.1#Address=1" + digits, 1, digits, 1},
        {both + "getaddrinfo?-2", -1, "", 1}};
    for (const auto& [steps, result, literal, lookups] : cases) {
        restart(steps);
        Text<255> szLiteral;
        std::memset(szLiteral.data(), 'x', 254);
        EXPECT_EQ(result, getDomainLiteral(szLiteral, "server"));
        EXPECT_EQ(literal + string(255 - literal.size(), '\0'), string(szLiteral.data(), 255));
        EXPECT_EQ(lookups, countOf(script.calls, "getaddrinfo server"));
    }
}

TEST_F(Identity, HostNameAndSenderAddressFallBack) {
    const string name = "@network.1#dnsnvcname", sender = "@Remotehosts.1#SenderEmail";
    // steps, host name, sender address
    const Rows<string, string, string> cases = {
        {sender + "=a@b", "ctl1", "a@b"},
        {name + "=(none)|chassis=ABCDEFG|" + sender + "=", "norvu-ABCDEFG", ""},
        {name + "=|chassis=ABCDEFGH|!" + sender, "norvu-ABCDEFGH", ""},
        {"!" + name + "|chassis=A", "norvu-A", "pm@example.org"},
        {name + "=(none)|chassis=", "norvu", "pm@example.org"},
        {name + "=", "norvu", "pm@example.org"},
        {name + "=" + string(255, 'n'), string(254, 'n'), "pm@example.org"}};
    for (const auto& [steps, host, address] : cases) {
        restart(steps);
        Text<255> szHostname("old"), szSenderEmail("old");
        GetHostname(szHostname);
        getSenderEmail(szSenderEmail);
        EXPECT_EQ(host, szHostname.view());
        EXPECT_EQ(address, szSenderEmail.view());
    }
}

TEST_F(Identity, EndpointTakesTheLiteralWhereTheSystemHasNoDomain) {
    const Rows<string, string, string, bool> cases = {
        {"domain= \texample. org..", "example. org.", "192.0.2.7", true},
        {"domain=\na. ", "\na. ", "192.0.2.7", true},
        {"domain=  \t", "192.0.2.7", "192.0.2.7", false},
        {"domain=(none)|servers=6", "IPv6:2001:db8::7", "[2001:db8::7]", false},
        {"domain=.", "192.0.2.7", "192.0.2.7", false},
        {"!domain|servers=6", "IPv6:2001:db8::7", "[2001:db8::7]", false}};
    for (const auto& [steps, domain, web, fromSystem] : cases) {
        restart("@IPv6.1#Enable:1|" + steps);
        EmailEndpoint endpoint;
        EXPECT_EQ(0, gatherEmailEndpoint(
                         endpoint, {.sender = "sendEmail", .domainLog = DomainLog::LiteralTaken}));
        EXPECT_EQ(domain, endpoint.szDomainName.c_str());
        EXPECT_EQ(web, endpoint.szWebAddress.c_str());
        EXPECT_EQ(fromSystem, endpoint.bDomainNameFromSystem);
    }
}

TEST_F(Identity, SmtpSettingsFallBackWhereTheyCan) {
    const string auth = "alert_bool_smtp_auth_enable:1|alert_int_smtp_sasl:4|"
                        "alert_str_smtp_user=user|alert_str_smtp_password=secret|",
                 port = "@Remotehosts.1#smtpport", long300(300, 'p'), long273(273, 'p'),
                 encryption = "@Remotehosts.1#ConnectionEncryption",
                 users = "alert_str_smtp_user=" + long300 + "|alert_str_smtp_password=" + long300;
    // settings, status, steps
    const Rows<string, int, Lines> cases = {
        {"25 0 0  ",
         0,
         {port + "~0", port + "~65536", port + "~4294967321", port + "~abc", port + "~", "!" + port,
          encryption + ":3", "!" + encryption}},
        {"1 0 0  ", 0, {port + "~1"}},
        {"65535 0 0  ", 0, {port + "~65535x"}},
        {"25 1 0  ", 0, {encryption + ":1"}},
        {"25 2 0  ", 0, {encryption + ":2"}},
        {"25 0 4 user secret", 0, {auth}},
        {"25 0 0  ", -1, {auth + "alert_str_smtp_user=", auth + "!alert_str_smtp_user"}},
        {"25 0 0 user secret", 0, {auth + "!alert_int_smtp_sasl"}},
        {"25 0 4 user ", 0, {auth + "!alert_str_smtp_password"}},
        {"25 0 4 " + long273 + " " + string(254, 'p'), 0, {auth + users}}};
    for (const auto& [settings, result, all] : cases) {
        for (const string& steps : all) {
            restart(steps);
            EmailConfigArgs args;
            EXPECT_EQ(result, getEmailConfigArgs(args));
            EXPECT_EQ(settings, words(args.port, args.connectionEncryption, args.saslMechanism,
                                      args.username.c_str(), args.password.c_str()));
            EXPECT_EQ(result == 0 && steps.starts_with(auth) ? 1U : 0U,
                      countOf(script.calls, "str alert_str_smtp_password 255"));
        }
    }
}

TEST_F(Identity, AttributeObjectsOfEachTypeAsText) {
    const Rows<string, int, int, string> cases = {
        // ..., size, status, output
        {"@a%-587", 64, 0, "-587"},        {"@a%65535", 4, 0, "655"},
        {"@a~mail", 4, 0, "mai"},          {"@a;On", 64, 0, "On"},
        {"@a;(null)", 64, 0, ""},          {"@a~(null)", 64, 0, ""},
        {"@a&x", 64, -1, "old"},           {"@b~x", 64, 256, "old"},
        {"@a~x|object?7", 64, 256, "old"}, {"@a~x|body?7", 64, 256, "old"},
        {"@a;x|string?7", 64, 256, "old"}};
    for (const auto& [steps, size, status, output] : cases) {
        restart(steps);
        string buffer = "old" + string(61, '\0');
        EXPECT_EQ(status, getAttributeObjectByKeyDbus("Norvu.Embedded.1#a", buffer.data(), size));
        EXPECT_EQ(output, buffer.c_str());
    }
    EXPECT_EQ(271, getAttributeObjectByKeyDbus(nullptr, nullptr, 4));
}

} // namespace
