// The effect of each setting and attribute on mails and msmtp's configuration.
#include <filesystem>

#include "config/attribute_object.h"
#include "platform/object_store.h"
#include "requests.h"

namespace {

class Settings : public Cases {};

Steps login(const Step& step) {
    return {text(AUTH, "1"), text(USER, "us\"er"), text(PASSWORD, "se cret"), text(MECHANISM, "4"),
            step};
}
Steps domain(const string& name, const Step& step = text(SENDER, "")) {
    return {text("domain", name), step};
}
Steps mechanism(const string& number) {
    return login(text(MECHANISM, number));
}

const string LONG(300, 'l'),
    LINE = "x\npasswordeval x", LINK4 = "here: https://192.0.2.7\n",
    LINK6 = "here: https://[2001:db8::7]\n", DIGITS(63, '1'),
    FILES =
        "tls_cert_file /etc/certs/CA/certs/host.crt\ntls_key_file /flash/data0/cv/private/host.key\n",
    NO_CHECK = "\ntls_force_sslv3 off\ntls_certcheck off\n";
const Step SERVER_V6 = text("servers", "6"), A = text("chassis", "A");

const std::vector<Case> CASES = {
    {.given = login(V6),
     .relay = "\nauth cram-md5\nuser \"us\"er\"\npassword \"se cret\"\n" + FILES},
    {.given = login(unreadable(MECHANISM)), .relay = "auth on\n", .log = "defaulting to auto-nego"},
    {.given = login(unreadable(PASSWORD)), .relay = "word \"\"\n", .log = "default is blank"},
    {.given = login(text(USER, LONG)), .relay = "user \"" + LONG.substr(27) + "\"\n"},
    {.given = login(text(PASSWORD, LONG)), .relay = "password \"" + LONG.substr(46) + "\"\n"},
    {.given = login(text(USER, "")), .status = -3, .log = "Couldn't get username, exiting"},
    {.given = login(unreadable(USER)), .status = -3, .log = "Couldn't get username, exiting"},
    {.given = {unreadable(AUTH)}, .status = -3, .log = "Couldn't get auth enabled, exiting"},
    {.given = mechanism("-1"), .relay = "auth on\n"},
    {.given = mechanism("0"), .relay = "auth on\n"},
    {.given = mechanism("1"), .relay = "auth plain\n"},
    {.given = mechanism("2"), .relay = "auth login\n"},
    {.given = mechanism("3"), .relay = "auth digest-md5\n"},
    {.given = mechanism("5"), .relay = "auth on\n"},
    {.given = {text(ENCRYPTION, "1")}, .relay = "tls_starttls off" + NO_CHECK + "tls on\n"},
    {.given = {text(ENCRYPTION, "2")}, .relay = "tls_starttls on" + NO_CHECK + "tls on\n"},
    {.given = {text(ENCRYPTION, "3")}, .relay = "tls off\n", .log = "Encryption number = 0"},
    {.given = {unreadable(ENCRYPTION)}, .relay = "tls off\n", .log = "connEncrypt, default off"},
    {.given = {text(SMTP_PORT, "1")}, .relay = "port 1\n"},
    {.given = {text(SMTP_PORT, "65535x")}, .relay = "port 65535\n"},
    {.given = {text(SMTP_PORT, "0")}, .relay = "port 25\n", .log = "invalid SMTP port , returning"},
    {.given = {text(SMTP_PORT, "65536")}, .relay = "port 25\n", .log = "Couldn't get SMTP port,"},
    {.given = {text(SMTP_PORT, "4294967321")}, .relay = "port 25\n", .log = "SMTP port number ="},
    {.given = {text(SMTP_PORT, "")}, .relay = "port 25\n", .log = "empty SMTP port string"},
    {.given = {unreadable(SMTP_PORT)}, .relay = "port 25\n", .log = "get SMTP port using DM"},
    {.given = {unreadable(SENDER)}, .relay = "from ctl1@example.org\n", .log = "failed to get sen"},
    {.given = domain(" \texample. org..", V6), .relay = "domain example. org\n"},
    {.given = domain(" a.b."), .relay = "domain a.b\nauto_from off\nfrom ctl1@a.b\n"},
    {.given = domain("  \t"), .relay = "from ctl1@[192.0.2.7]\n", .log = "empty senderEmail"},
    {.given = domain("(none)"), .relay = "domain [192.0.2.7]\n", .log = "using szDomainLiteral"},
    {.given = domain(LONG), .relay = "domain " + LONG.substr(46) + "\n"},
    {.given = domain("", text(ADDRESS4, "")), .relay = "domain \n"},
    {.given = domain("."), .relay = "domain [192.0.2.7]\n"},
    {.given = domain("ipV6:::1"), .relay = "domain [ipV6:::1]\n"},
    {.given = domain("IPv6:2001:xyz"), .relay = "domain IPv6:2001:xyz\n"},
    {.given = {unreadable("domain"), V6, SERVER_V6}, .relay = "domain [IPv6:2001:db8::7]\n"},
    // msmtp's configuration is not written, or only in part.
    {.given = login(text(SERVER, LINE)), .status = -17, .log = "a line end in the server address"},
    {.given = login(text(SENDER, "x\r")), .status = -17, .log = "a line end in the sender"},
    {.given = login(text(USER, LINE)), .status = -17, .log = "a line end in the user name"},
    {.given = login(text(PASSWORD, LINE)), .status = -17, .log = "a line end in the password"},
    {.given = login(text("domain", LINE)), .status = -17, .log = "a line end in the domain"},
    {.given = {text(HOST, LINE), text(SENDER, "")}, .status = -17, .log = "a line end in the"},
    {.given = {text(HOST, LINE), text(USER, LINE), text(PASSWORD, LINE)}, .runs = 1},
    {.given = login(noMemory(1)), .status = -17, .log = "Couldn't allocate `domain', exiting"},
    {.given = login(noMemory(2)), .status = -17, .log = "Couldn't allocate `from', exiting"},
    {.given = login(noMemory(3)), .status = -17, .runs = 0},
    {.given = login(noMemory(4)), .status = -17, .log = "Couldn't allocate `sasl_mech', exiting"},
    {.given = login(noMemory(5)), .status = -9, .log = "pLocalBodyText - malloc() Failed"},
    {.given = login(fails("write account")), .status = -17, .log = "Couldn't write to /tmp/zorqem"},
    {.given = login(fails("write auth")), .relay = "pm@example.org\ntls_", .log = "Couldn't write"},
    {.given = login(fails("write tls")), .status = -17, .log = "Couldn't write to"},
    // The controller's own address and name.
    {.given = {V6, text("servers", "64")}, .message = LINK4},
    {.given = {V6, SERVER_V6}, .message = LINK6, .log = "bServerAddrIsIPv4=false"},
    {.given = {NO_V4, V6, text("servers", "46")}, .message = LINK6, .log = "Literal: IPv6:2001:db"},
    {.given = {NO_V4, V6}, .status = -1, .log = "bServerAddrIsIPv6=false"},
    {.given = {V6, SERVER_V6, text(ADDRESS6, "::")}, .status = -1, .log = "get ipv6 Domain Lit"},
    {.given = {text(IPV4, "2"), text(IPV6, "2")}, .status = -1, .log = "get Domain Literal fail"},
    {.given = {text("servers", "")}, .status = -1, .log = "get Domain Literal fail"},
    {.given = {text(ADDRESS4, "")}, .message = "here: https://\n"},
    {.given = {text(ADDRESS4, "1" + DIGITS)}, .message = "here: https://" + DIGITS + "\n"},
    {.given = {fails("getaddrinfo", -2)}, .status = -1, .log = "getaddrinfo error: Name or serv"},
    {.given = {NO_V4, V6, fails("getaddrinfo", -2)}, .status = -1, .log = "getaddrinfo error: Na"},
    {.given = {unreadable(IPV4)}, .status = -1, .log = "get Ipv4.1#enable fail"},
    {.given = {unreadable(IPV6)}, .status = -1, .log = "get ipv6.1#enable fail"},
    {.given = {unreadable(ADDRESS4)}, .status = -1, .log = "get ipv4.1#address fail"},
    {.given = {unreadable(ADDRESS6)}, .status = -1, .log = "get ipv6.1#address1 fail"},
    {.given = {text(SENDER, ""), text(HOST, LONG)}, .relay = "from " + LONG.substr(46) + "@"},
    {.given = {text(SENDER, ""), text(HOST, "")}, .relay = "from norvu@", .log = "zero length, us"},
    {.given = {text(SENDER, ""), text(HOST, "(none)"), text("chassis", "ABCDEFGH")},
     .relay = "from norvu-ABCDEFGH@"},
    {.given = {text(SENDER, ""), unreadable(HOST), A}, .relay = "norvu-A@", .log = "to get dnsnvc"},
    {.given = {text(SENDER, ""), text(HOST, ""), A, fails("chassis")}, .relay = "from norvu@"}};

TEST_F(Settings, EachValueInTheMail) {
    check("", senders[0].send, CASES,
          [] { EXPECT_EQ(string::npos, contentOf(RELAY_CONFIG_PATH).find("\npasswordeval")); });
}

TEST_F(Settings, RelayConfigurationIsPrivateFromTheStart) {
    namespace fs = std::filesystem;
    EXPECT_EQ(0, senders[0].send());
    EXPECT_EQ(fs::perms{0600}, fs::status(RELAY_CONFIG_PATH).permissions());
    fs::permissions(RELAY_CONFIG_PATH, fs::perms{0644}); // an existing file keeps its mode
    EXPECT_EQ(0, senders[0].send());
    EXPECT_EQ(fs::perms{0644}, fs::status(RELAY_CONFIG_PATH).permissions());
}

const int INTEGER = OBJECT_TYPE_INTEGER, ENUM = OBJECT_TYPE_ENUM;
const Step X = text("a", "x"), NO_BODY = fails("body", 7);

const std::vector<Case> OBJECTS = {
    {.given = {typed(INTEGER, "a", "-587")}, .call = "output -587 .", .log = "Object type integer"},
    {.given = {typed(INTEGER, "a", "123456789")}, .call = "output 1234567 .", .log = "Value 1234"},
    {.given = {text("a", "longer text")}, .call = "output longer  .", .log = "Value string longer"},
    {.given = {text("a", "no value")}, .call = "output  .", .log = "NULL value"},
    {.given = {typed(ENUM, "a", "On")}, .call = "output On .", .log = "Object type enum"},
    {.given = {typed(ENUM, "a", "no value")}, .call = "output  .", .log = "return status 0"},
    {.given = {typed(0x4054, "a", "x")}, .status = -1, .call = "output old .", .log = "unsupp"},
    {.status = 256, .call = "output old .", .log = "matching Attribute not found"},
    {.given = {X, fails("object", 7)}, .status = 256, .call = "output old", .log = "ect header"},
    {.given = {X, NO_BODY}, .status = 256, .call = "output old .", .log = "Error 7 getting data"},
    {.given = {typed(INTEGER, "a", "1"), NO_BODY}, .status = 256, .log = "Error 7 getting data"},
    {.given = {X, fails("string", 7)}, .status = 256, .log = "Error 7 getting string"}};

TEST_F(Settings, AttributeObjectAsText) {
    const auto read = [] {
        char buffer[8] = "old";
        const int32_t status = getAttributeObjectByKeyDbus("a", buffer, sizeof buffer);
        EXPECT_EQ(status != 256, logged(words("return status", status)));
        outcome(words("output", buffer, "."));
        return status;
    };
    check("", read, OBJECTS);
    check("", [] { return getAttributeObjectByKeyDbus(nullptr, nullptr, 4); },
          {{.status = 271, .calls = 0, .log = "NULL input key"}});
}

} // namespace
