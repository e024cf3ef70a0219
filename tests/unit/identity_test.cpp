// Who a mail comes from, how the relay is reached, and the reader of attribute objects.
#include <cstring>

#include "mail/email_config_args.h"
#include "mail/endpoint.h"
#include "mail/identity.h"
#include "mail/senders.h"
#include "platform/attribute_object.h"
#include "scripted_platform.h"

namespace {

class Identity : public Scripted {};

TEST_F(Identity, TrimsDomainNameInPlace) {
    const Rows<string, string> cases = {{"a.b", "a.b"}, {"a.b..", "a.b."}, {" \t a b.", "a b"},
                                        {"a. ", "a. "}, {"\na", "\na"},    {".", ""},
                                        {" . ", ". "},  {"  \t", ""},      {"", ""}};
    for (const auto& [text, trimmed] : cases) {
        std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
        trimDomainName(exact.data()); // a sanitizer sees both ends
        EXPECT_EQ(trimmed, exact.data()) << "of '" << text << "'";
    }
}

TEST_F(Identity, ChoosesDomainLiteralByServersFamily) {
    const string only6 = "@IPv4.1#Enable:0|@IPv6.1#Enable:1|servers=46", v6 = "IPv6:2001:db8::7";
    const string digits(63, '1'), both = "@IPv6.1#Enable:1|";
    const Rows<string, int, string, size_t, string> cases = {
        // ..., lookups, last line
        {"", 1, "192.0.2.7", 1, "- ipv4 Domain Literal: 192.0.2.7\n"},
        {both + "servers=64", 1, "192.0.2.7", 1, "- ipv4 Domain Literal: 192.0.2.7\n"},
        {both + "servers=6", 2, v6, 2, " - ipv6 Domain Literal: IPv6:2001:db8::7\n"},
        {only6, 2, v6, 1, " - ipv6 Domain Literal: IPv6:2001:db8::7\n"},
        {only6 + "|@IPv6.1#Address1=::", -1, "", 1, " - get ipv6 Domain Literal fail\n"},
        {"@IPv4.1#Enable:2|@IPv6.1#Enable:2", -1, "", 0, " - get Domain Literal fail\n"},
        {"servers=", -1, "", 1, " - get Domain Literal fail\n"},
        {"@IPv4.1#Address=", 1, "", 1, "- ipv4 Domain Literal: \n"},
        {"@IPv4.1#Address=1" + digits, 1, digits, 1, "- ipv4 Domain Literal: " + digits + "\n"},
        {both + "getaddrinfo?-2", -1, "", 1, " - getaddrinfo error: Name or service not known\n"},
        {only6 + "|getaddrinfo?-2", -1, "", 1, " - getaddrinfo error: Name or service not known\n"},
        {"!@IPv4.1#Enable", -1, "", 0, " - get Ipv4.1#enable fail\n"},
        {"!@IPv6.1#Enable", -1, "", 0, " - get ipv6.1#enable fail\n"},
        {"!@IPv4.1#Address", -1, "", 0, " - get ipv4.1#address fail\n"},
        {"!@IPv6.1#Address1", -1, "", 0, " - get ipv6.1#address1 fail\n"}};
    for (const auto& [steps, result, literal, lookups, line] : cases) {
        restart(steps);
        Text<255> szLiteral;
        std::memset(szLiteral.data(), 'x', 254);
        EXPECT_EQ(result, getDomainLiteral(szLiteral, "server"));
        EXPECT_EQ(literal + string(255 - literal.size(), '\0'), string(szLiteral.data(), 255));
        EXPECT_EQ(lookups, countOf(script.calls, "getaddrinfo server"));
        EXPECT_EQ("[]: getDomainLiteral()" + line, script.log.back());
    }
}

TEST_F(Identity, HostNameAndSenderAddressFallBack) {
    const string name = "@network.1#dnsnvcname", sender = "@Remotehosts.1#SenderEmail";
    const Rows<string, string, string> cases = {
        {name + "=ctl1", "ctl1", "Enter GetHostname()"},
        {name + "=(none)|chassis=ABCDEFG", "norvu-ABCDEFG", "szHostname zero length, using Norvu"},
        {name + "=|chassis=ABCDEFGH", "norvu-ABCDEFGH", "szHostname zero length, using Norvu"},
        {"!" + name + "|chassis=A", "norvu-A", "failed to get dnsnvcname"},
        {name + "=(none)|chassis=", "norvu", "szHostname zero length, using Norvu"},
        {name + "=", "norvu", "szHostname zero length, using Norvu"},
        {name + "=" + string(255, 'n'), string(254, 'n'), "Enter GetHostname()"}};
    for (const auto& [steps, host, line] : cases) {
        restart(steps);
        Text<255> szHostname("old");
        GetHostname(szHostname);
        EXPECT_EQ(host, szHostname.view());
        EXPECT_EQ(1U, logged(line));
    }
    const Rows<string, string, string> senders = {
        {sender + "=a@b", "a@b", "getSenderEmail()\n"},
        {sender + "=", "", "getSenderEmail() - empty senderEmail string obtained"},
        {"!" + sender, "", "getSenderEmail() - failed to get senderEmail"}};
    for (const auto& [steps, address, line] : senders) {
        restart(steps);
        Text<255> szSenderEmail("old");
        getSenderEmail(szSenderEmail);
        EXPECT_EQ(address, szSenderEmail.view());
        EXPECT_EQ(1U, logged(line));
    }
}

TEST_F(Identity, EndpointTakesTheLiteralWhereTheSystemHasNoDomain) {
    const Rows<string, string, string, bool> cases = {
        {"domain= \texample.org.", "example.org", "192.0.2.7", true},
        {"domain=(none)|servers=6", "IPv6:2001:db8::7", "[2001:db8::7]", false},
        {"domain=.", "192.0.2.7", "192.0.2.7", false},
        {"!domain|servers=6", "IPv6:2001:db8::7", "[2001:db8::7]", false}};
    for (const auto& [steps, domain, web, fromSystem] : cases) {
        for (const Sender* sender :
             {&senderOfSendEmail, &senderOfTestEmail, &senderOfAlertEmail, &senderOfGenericEmail}) {
            restart("@IPv6.1#Enable:1|" + steps);
            EmailEndpoint endpoint;
            EXPECT_EQ(0, gatherEmailEndpoint(endpoint, *sender));
            EXPECT_EQ(domain, endpoint.szDomainName.c_str());
            EXPECT_EQ(web, endpoint.szWebAddress.c_str());
            EXPECT_EQ(fromSystem, endpoint.bDomainNameFromSystem);
            const bool core = sender == &senderOfSendEmail,
                       generic = sender == &senderOfGenericEmail;
            EXPECT_STREQ(generic ? "" : "ctl1", endpoint.szHostname.c_str());
            EXPECT_EQ(core && !fromSystem ? 1U : 0U,
                      logged("sendEmail() - getdomainname() returned"));
            EXPECT_EQ(core ? 0U : 1U, logged(string(sender->name) + "() - domainname: "));
        }
    }
}

TEST_F(Identity, SmtpSettingsFallBackWhereTheyCan) {
    const string auth = "alert_bool_smtp_auth_enable:1|alert_int_smtp_sasl:4|"
                        "alert_str_smtp_user=user|alert_str_smtp_password=secret|",
                 port = "@Remotehosts.1#smtpport", long300(300, 'p'), long273(273, 'p'),
                 encryption = "@Remotehosts.1#ConnectionEncryption",
                 users = "alert_str_smtp_user=" + long300 + "|alert_str_smtp_password=" + long300;
    const Rows<string, int, string, string> cases = {
        {port + "~0", 0, "25 0 0  ", "Couldn't get SMTP port, using 25"},
        {port + "~65536", 0, "25 0 0  ", "invalid SMTP port"},
        {port + "~-587", 0, "25 0 0  ", "invalid SMTP port"},
        {port + "~4294967321", 0, "25 0 0  ", "invalid SMTP port"},
        {port + "~abc", 0, "25 0 0  ", "SMTP port number = 0\n"},
        {port + "~1", 0, "1 0 0  ", "SMTP port number string  = 1\n"},
        {port + "~65535x", 0, "65535 0 0  ", "SMTP port number = 65535\n"},
        {port + "~", 0, "25 0 0  ", "empty SMTP port string"},
        {"!" + port, 0, "25 0 0  ",
         "failed to get SMTP port using DM object key , with status 256"},
        {encryption + ":1", 0, "25 1 0  ", "Connection Encryption number = 1\n"},
        {encryption + ":2", 0, "25 2 0  ", "Connection Encryption number = 2\n"},
        {encryption + ":3", 0, "25 0 0  ", "Connection Encryption number = 0\n"},
        {"!" + encryption, 0, "25 0 0  ", "Could not get connEncrypt, default off"},
        {"!alert_bool_smtp_auth_enable", -1, "25 0 0  ", "Couldn't get auth enabled"},
        {auth, 0, "25 0 4 user secret", "getSMTPPort()\n"},
        {auth + "alert_str_smtp_user=", -1, "25 0 0  ", "Couldn't get username"},
        {auth + "!alert_str_smtp_user", -1, "25 0 0  ", "Couldn't get username"},
        {auth + "!alert_int_smtp_sasl", 0, "25 0 0 user secret", "Couldn't get auth mechanism"},
        {auth + "!alert_str_smtp_password", 0, "25 0 4 user ", "Couldn't get password"},
        {auth + users, 0, "25 0 4 " + long273 + " " + string(254, 'p'), "getEmailEncrypt()\n"}};
    for (const auto& [steps, result, settings, line] : cases) {
        restart(steps);
        EmailConfigArgs args;
        EXPECT_EQ(result, getEmailConfigArgs(args));
        EXPECT_EQ(settings, words(args.port, args.connectionEncryption, args.saslMechanism,
                                  args.username.c_str(), args.password.c_str()));
        EXPECT_EQ(1U, logged(line)) << line;
        EXPECT_EQ(result == 0 && steps.starts_with(auth) ? 1U : 0U,
                  countOf(script.calls, "str alert_str_smtp_password 255"));
    }
}

TEST_F(Identity, AttributeObjectsOfEachTypeAsText) {
    const Rows<string, int, int, string, string> cases = {
        // ..., size, status, output, line
        {"@a%-587", 64, 0, "-587", "Value -587\n"},
        {"@a%65535", 4, 0, "655", "Value 655\n"},
        {"@a~mail", 4, 0, "mai", "Value string mai\n"},
        {"@a;On", 64, 0, "On", "Object type enum\n"},
        {"@a;(null)", 64, 0, "", "NULL value\n"},
        {"@a~(null)", 64, 0, "", "NULL value\n"},
        {"@a&x", 64, -1, "old", "an unsupported Attribute type\n"},
        {"@b~x", 64, 256, "old", "matching Attribute not found\n"},
        {"@a~x|object?7", 64, 256, "old", "Error 7 getting data object header\n"},
        {"@a~x|body?7", 64, 256, "old", "Error 7 getting data object body\n"},
        {"@a%1|body?7", 64, 256, "old", "Error 7 getting data object body\n"},
        {"@a;x|string?7", 64, 256, "old", "Error 7 getting string\n"}};
    for (const auto& [steps, size, status, output, line] : cases) {
        restart(steps);
        string buffer = "old" + string(61, '\0');
        EXPECT_EQ(status, getAttributeObjectByKeyDbus("Norvu.Embedded.1#a", buffer.data(), size));
        EXPECT_EQ(output, buffer.c_str());
        EXPECT_EQ(1U, logged(line)) << line;
        EXPECT_EQ(status == 256 ? 0U : 1U, logged("() - return status " + std::to_string(status)));
    }
    EXPECT_EQ(271, getAttributeObjectByKeyDbus(nullptr, nullptr, 4));
}

} // namespace
