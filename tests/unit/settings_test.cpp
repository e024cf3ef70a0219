// What mails and their relay configuration make of each setting and attribute.
#include <filesystem>

#include "platform/attribute_object.h"
#include "platform/object_store.h"
#include "requests.h"

namespace {

class Settings : public Cases {};

Steps login(const Step& step) {
    return {text(AUTH, "1"), text(USER, "us\"er"), text(PASSWORD, "se cret"), text(MECHANISM, "4"),
            step};
}

TEST_F(Settings, RelayConfiguration) {
    const string long300(300, 'p');
    check(
        "", senders[0].send,
        {{.given = login(text(REGISTERED, "0")),
          .relay = "\nauth cram-md5\nuser \"us\"er\"\npassword \"se cret\"\ntls_cert"},
         {.given = login(unreadable(MECHANISM)),
          .relay = "auth on\n",
          .log = "defaulting to auto-negotiate"},
         {.given = login(unreadable(PASSWORD)),
          .relay = "word \"\"\n",
          .log = "password, default is blank"},
         {.given = login(text(USER, long300)), .relay = "user \"" + long300.substr(27) + "\"\n"},
         {.given = login(text(PASSWORD, long300)), .relay = "\"" + long300.substr(46) + "\"\n"},
         {.given = login(text(MECHANISM, "-1")), .relay = "auth on\n"},
         {.given = login(text(MECHANISM, "0")), .relay = "auth on\n"},
         {.given = login(text(MECHANISM, "1")), .relay = "auth plain\n"},
         {.given = login(text(MECHANISM, "2")), .relay = "auth login\n"},
         {.given = login(text(MECHANISM, "3")), .relay = "auth digest-md5\n"},
         {.given = login(text(MECHANISM, "5")), .relay = "auth on\n"},
         {.given = login(fails("write auth")),
          .relay = "example.org\ntls_",
          .log = "Couldn't write to"},
         {.given = {text(ENCRYPTION, "1")},
          .relay = "tls_starttls off\ntls_force_sslv3 off\ntls_certcheck off\ntls on\n"},
         {.given = {text(ENCRYPTION, "2")},
          .relay = "tls_starttls on\ntls_force_sslv3 off\ntls_certcheck off\ntls on\n"},
         {.given = {text(ENCRYPTION, "3")}, .relay = "tls off\n", .log = "Encryption number = 0"},
         {.given = {unreadable(ENCRYPTION)},
          .relay = "tls off\n",
          .log = "connEncrypt, default off"},
         {.given = {text(SMTP_PORT, "1")}, .relay = "port 1\n"},
         {.given = {text(SMTP_PORT, "65535x")}, .relay = "port 65535\n"},
         {.given = {text(SMTP_PORT, "0")},
          .relay = "port 25\n",
          .log = "invalid SMTP port , returning"},
         {.given = {text(SMTP_PORT, "65536")}, .relay = "port 25\n", .log = "SMTP port, using 25"},
         {.given = {text(SMTP_PORT, "4294967321")}, .relay = "port 25\n", .log = "2147483647"},
         {.given = {text(SMTP_PORT, "")}, .relay = "port 25\n", .log = "empty SMTP port string"},
         {.given = {unreadable(SMTP_PORT)},
          .relay = "port 25\n",
          .log = "get SMTP port using DM obj"},
         {.given = {unreadable(SENDER_MAIL)},
          .relay = "from ctl1@example.org\n",
          .log = "failed to get sen"},
         {.given = {text(SENDER_MAIL, "")},
          .relay = "from ctl1@example.org\n",
          .log = "empty senderEmail"},
         {.given = {text("domain", " \texample. org..")}, .relay = "domain example. org\n"},
         {.given = {text("domain", " a.b."), text(SENDER_MAIL, "")},
          .relay = "domain a.b\nauto_from off\nfrom ctl1@a.b\n"},
         {.given = {text("domain", "  \t"), text(SENDER_MAIL, "")},
          .relay = "from ctl1@[192.0.2.7]\n"},
         {.given = {text("domain", "(none)")},
          .relay = "domain [192.0.2.7]\n",
          .log = "using szDomainLiteral"},
         {.given = {text("domain", ".")}, .relay = "domain [192.0.2.7]\n"},
         {.given = {text("domain", "ipV6:::1")}, .relay = "domain [ipV6:::1]\n"},
         {.given = {text("domain", "IPv6:2001:xyz")}, .relay = "domain IPv6:2001:xyz\n"}});
}

TEST_F(Settings, RelayConfigurationIsNotWritten) {
    const string line = "x\npasswordeval x";
    check(
        "", senders[0].send,
        {{.given = login(text(SERVER, line)),
          .status = -17,
          .log = "the server address holds a line end"},
         {.given = login(text(SENDER_MAIL, "x\r")),
          .status = -17,
          .log = "the sender holds a line end"},
         {.given = login(text(USER, line)), .status = -17, .log = "the user name holds a line end"},
         {.given = login(text(PASSWORD, line)),
          .status = -17,
          .log = "the password holds a line end"},
         {.given = login(text("domain", line)),
          .status = -17,
          .log = "the domain holds a line end"},
         {.given = {text(HOST_NAME, line), text(SENDER_MAIL, "")},
          .status = -17,
          .log = "the sender holds"},
         {.given = {text(HOST_NAME, line), text(USER, line), text(PASSWORD, line)}, .runs = 1},
         {.given = login(noMemory(1)), .status = -17, .log = "Couldn't allocate `domain', exiting"},
         {.given = login(noMemory(2)), .status = -17, .log = "Couldn't allocate `from', exiting"},
         {.given = login(noMemory(3)), .status = -17, .runs = 0},
         {.given = login(noMemory(4)),
          .status = -17,
          .log = "Couldn't allocate `sasl_mech', exiting"},
         {.given = login(noMemory(5)), .status = -9, .log = "pLocalBodyText - malloc() Failed"},
         {.given = login(fails("write account")),
          .status = -17,
          .log = "Couldn't write to /tmp/zorqem"},
         {.given = login(fails("write tls")),
          .status = -17,
          .log = "Couldn't write to /tmp/zorqemailco"}},
        [](const Case&) {
            EXPECT_EQ(string::npos, contentOf(RELAY_CONFIG_PATH).find("\npasswordeval"));
        });
}

TEST_F(Settings, RelayConfigurationIsPrivateFromTheStart) {
    using std::filesystem::perms;
    EXPECT_EQ(0, senders[0].send());
    EXPECT_EQ(perms{0600}, std::filesystem::status(RELAY_CONFIG_PATH).permissions());
    std::filesystem::permissions(RELAY_CONFIG_PATH, perms{0644}); // a file that is there keeps it
    EXPECT_EQ(0, senders[0].send());
    EXPECT_EQ(perms{0644}, std::filesystem::status(RELAY_CONFIG_PATH).permissions());
}

TEST_F(Settings, OwnAddress) {
    const Step ipv6 = text(IPV6, "1"), noIpv4 = text(IPV4, "0"), server6 = text("servers", "6"),
               server64 = text("servers", "64"), server46 = text("servers", "46");
    const string link4 = "here: https://192.0.2.7\n", link6 = "here: https://[2001:db8::7]\n",
                 digits(63, '1');
    check(
        "", senders[0].send,
        {{.given = {ipv6, server64}, .message = link4},
         {.given = {ipv6, server6}, .message = link6, .log = "bServerAddrIsIPv4=false"},
         {.given = {noIpv4, ipv6, server46},
          .message = link6,
          .log = "ipv6 Domain Literal: IPv6:2001"},
         {.given = {unreadable("domain"), ipv6, server6}, .relay = "domain [IPv6:2001:db8::7]\n"},
         {.given = {noIpv4, ipv6}, .status = -1, .log = "bServerAddrIsIPv6=false"},
         {.given = {ipv6, server6, text(IPV6_ADDRESS, "::")},
          .status = -1,
          .log = "get ipv6 Domain Literal fail"},
         {.given = {text(IPV4, "2"), text(IPV6, "2")},
          .status = -1,
          .log = "get Domain Literal fail"},
         {.given = {text("servers", "")}, .status = -1, .log = "get Domain Literal fail"},
         {.given = {text(IPV4_ADDRESS, "")}, .message = "here: https://\n"},
         {.given = {text(IPV4_ADDRESS, "1" + digits)}, .message = "here: https://" + digits + "\n"},
         {.given = {ipv6, fails("getaddrinfo", -2)},
          .status = -1,
          .log = "getaddrinfo error: Name or"},
         {.given = {noIpv4, ipv6, fails("getaddrinfo", -2)},
          .status = -1,
          .log = "getaddrinfo error: Name or"},
         {.given = {unreadable(IPV4)}, .status = -1, .log = "get Ipv4.1#enable fail"},
         {.given = {unreadable(IPV6)}, .status = -1, .log = "get ipv6.1#enable fail"},
         {.given = {unreadable(IPV4_ADDRESS)}, .status = -1, .log = "get ipv4.1#address fail"},
         {.given = {unreadable(IPV6_ADDRESS)}, .status = -1, .log = "get ipv6.1#address1 fail"}});
}

TEST_F(Settings, HostName) {
    const auto named = [](const Step& step, const Step& chassis) -> Steps {
        return {text(SENDER_MAIL, ""), step, chassis};
    };
    const Step none = text(HOST_NAME, "(none)"), x8 = text("chassis", "ABCDEFGH"),
               x = text("chassis", "A");
    const string long255(255, 'n');
    check(
        "", senders[0].send,
        {{.given = named(text(HOST_NAME, long255), x), .relay = "from " + long255.substr(1) + "@"},
         {.given = named(none, x8), .relay = "from norvu-ABCDEFGH@"},
         {.given = named(text(HOST_NAME, ""), x), .relay = "from norvu-A@", .log = "zero length"},
         {.given = named(unreadable(HOST_NAME), x), .relay = "from norvu-A@", .log = "get dnsnvc"},
         {.given = named(none, text("chassis", "")), .relay = "from norvu@"},
         {.given = named(none, fails("chassis")), .relay = "from norvu@"}});
}

TEST_F(Settings, AttributeObjectAsText) {
    const auto read = [] {
        char buffer[64] = "old";
        const int size = script.values.contains("small") ? 4 : 64;
        const int32_t status = getAttributeObjectByKeyDbus("a", buffer, size);
        EXPECT_EQ(status != 256, logged(words("return status", status)));
        outcome(words("output", buffer, "."));
        return status;
    };
    constexpr int INTEGER = OBJECT_TYPE_INTEGER, STRING = OBJECT_TYPE_STRING,
                  ENUM = OBJECT_TYPE_ENUM;
    const Step small = text("small", "buffer"), x = text("a", "x");
    check("", read,
          {{.given = {typed(INTEGER, "a", "-587")},
            .call = "output -587 .",
            .log = "Object type integer"},
           {.given = {typed(INTEGER, "a", "65535"), small},
            .call = "output 655 .",
            .log = "Value 655\n"},
           {.given = {typed(STRING, "a", "mail"), small},
            .call = "output mai .",
            .log = "string mai\n"},
           {.given = {typed(STRING, "a", "no value")}, .call = "output  .", .log = "NULL value"},
           {.given = {typed(ENUM, "a", "On")}, .call = "output On .", .log = "Object type enum"},
           {.given = {typed(ENUM, "a", "no value")}, .call = "output  .", .log = "return status 0"},
           {.given = {typed(0x4054, "a", "x")},
            .status = -1,
            .call = "output old .",
            .log = "unsupported"},
           {.status = 256, .call = "output old .", .log = "matching Attribute not found"},
           {.given = {x, fails("object", 7)},
            .status = 256,
            .call = "output old",
            .log = "Error 7 getting data object header"},
           {.given = {x, fails("body", 7)},
            .status = 256,
            .call = "output old",
            .log = "Error 7 getting data object body"},
           {.given = {typed(INTEGER, "a", "1"), fails("body", 7)},
            .status = 256,
            .log = "object body"},
           {.given = {x, fails("string", 7)}, .status = 256, .log = "Error 7 getting string"}});
    EXPECT_EQ(271, getAttributeObjectByKeyDbus(nullptr, nullptr, 4));
    EXPECT_EQ(1U, logged("NULL input key"));
}

} // namespace
