// The bytes of the two files that the mail client gets.
#include <filesystem>

#include "mail/relay_config.h"
#include "mail_senders.h"

using namespace pm;

namespace {

namespace fs = std::filesystem;

class MailFiles : public Scripted {};

// All that WriteEmailConfig takes, sound; a test changes one of them.
struct RelayArguments {
    string host = "mail.example.org", sender = "pm@example.org";
    string domain = "example.org", hostPart = "ctl1";
    bool compatibility = false, auth = true;
    string user = "us\"er", password = "se cret";
    uint32_t encryption = 2;
    int32_t mechanism = 4;

    bool write() {
        EmailEndpoint endpoint;
        endpoint.szServerAddress.assign(host);
        endpoint.szDomainName.assign(domain);
        endpoint.szHostname.assign(hostPart);
        const EmailConfigArgs config = {587,        auth,      Text<274>(user),
                                        encryption, mechanism, Text<255>(password)};
        const bool written =
            WriteEmailConfig(RELAY_FILE, endpoint, config, Text<255>(sender), compatibility);
        domain = endpoint.szDomainName.c_str();
        return written;
    }
};

const string BLOCK_1 = "account default\ntimeout 20\nhost mail.example.org\nport 587\n"
                       "domain example.org\nauto_from off\nfrom pm@example.org\n";
const string BLOCK_2 = "auth cram-md5\nuser \"us\"er\"\npassword \"se cret\"\n";
const string BLOCK_3 = "tls_cert_file /etc/certs/CA/certs/host.crt\n"
                       "tls_key_file /flash/data0/cv/private/host.key\n"
                       "tls_starttls on\ntls_force_sslv3 off\ntls_certcheck off\ntls on\n";

TEST_F(MailFiles, RelayConfigurationByteForByte) {
    RelayArguments arguments;
    EXPECT_TRUE(arguments.write());
    EXPECT_EQ(BLOCK_1 + BLOCK_2 + BLOCK_3, contentOf(RELAY_FILE));
    EXPECT_EQ(fs::perms{0600}, fs::status(RELAY_FILE).permissions());
    fs::permissions(RELAY_FILE, fs::perms{0644}); // a file that is there keeps its bits
    arguments.auth = false;
    EXPECT_TRUE(arguments.write());
    EXPECT_EQ(BLOCK_1 + "auth off\n" + BLOCK_3, contentOf(RELAY_FILE));
    EXPECT_EQ(fs::perms{0644}, fs::status(RELAY_FILE).permissions());
}

TEST_F(MailFiles, RelayIdentityFollowsTheFlag) {
    const Rows<string, bool, string, string> cases = {
        {" a.b.", false, "", "domain a.b\nauto_from off\nfrom ctl1@a.b\n"},
        {"192.0.2.7", false, "", "domain [192.0.2.7]\nauto_from off\nfrom ctl1@[192.0.2.7]\n"},
        {"192.0.2.7", true, "", "domain 192.0.2.7\nauto_from off\nfrom ctl1@192.0.2.7\n"},
        {"IPv6:2001:db8::7", false, "a@b", "domain [IPv6:2001:db8::7]\n"},
        {"IPv6:2001:db8::7", true, "a@b", "domain IPv6:2001:db8::7\n"},
        {"ipV6:::1", false, "a@b", "domain [ipV6:::1]\n"},
        {"IPv6:2001:xyz", false, "a@b", "domain IPv6:2001:xyz\n"}};
    for (const auto& [domain, compatibility, sender, lines] : cases) {
        RelayArguments arguments;
        arguments.domain = domain;
        arguments.compatibility = compatibility;
        arguments.sender = sender;
        EXPECT_TRUE(arguments.write());
        EXPECT_NE(string::npos, contentOf(RELAY_FILE).find(lines)) << lines;
        EXPECT_EQ(domain == " a.b." ? "a.b" : domain, arguments.domain); // trimmed in place
    }
}

TEST_F(MailFiles, MechanismAndEncryptionWords) {
    const string words[] = {"on", "plain", "login", "digest-md5", "cram-md5", "on"};
    const string ends[][2] = {{"off", "off"}, {"off", "on"}, {"on", "on"}, {"on", "on"}};
    for (int i = -1; i < 6; ++i) {
        const auto kind = static_cast<uint32_t>(i < 0 ? 3 : i % 4);
        RelayArguments arguments;
        arguments.mechanism = i;
        arguments.encryption = kind;
        EXPECT_TRUE(arguments.write());
        const string content = contentOf(RELAY_FILE);
        EXPECT_NE(string::npos, content.find("\nauth " + words[std::max(i, 0)] + "\n"));
        EXPECT_TRUE(content.ends_with("tls_starttls " + ends[kind][0] +
                                      "\ntls_force_sslv3 off\ntls_certcheck off\ntls " +
                                      ends[kind][1] + "\n"));
    }
}

TEST_F(MailFiles, RelayConfigurationRefusesLineEnds) {
    string RelayArguments::*const values[] = {&RelayArguments::host,     &RelayArguments::sender,
                                              &RelayArguments::domain,   &RelayArguments::user,
                                              &RelayArguments::password, &RelayArguments::hostPart};
    for (const auto value : values) {
        for (const char lineEnd : {'\r', '\n'}) {
            restart("");
            RelayArguments arguments;
            if (value == &RelayArguments::hostPart)
                arguments.sender = ""; // then it takes the sender's place
            (arguments.*value).append(1, lineEnd) += "passwordeval x";
            EXPECT_FALSE(arguments.write());
            EXPECT_EQ(string::npos, contentOf(RELAY_FILE).find("passwordeval"));
            EXPECT_EQ(2U, script.log.size()) << "the entry, and a line that names the value";
        }
    }
}

TEST_F(MailFiles, RelayConfigurationFailures) {
    const string full = "Couldn't write to /tmp/zorqemailconfig.txt: File too large\n";
    // steps, result, standard error, content
    const Rows<string, bool, string, string> cases = {
        {"/tmp/zorqemailconfig.txt^/nonexistent/r", false,
         "Failed to create e-mail configuration file: No such file or directory\n", ""},
        {"limit=0", false, full, ""},
        {words("limit=", BLOCK_1.size()), true, full, BLOCK_1 + BLOCK_3},
        {words("limit=", (BLOCK_1 + BLOCK_2).size()), false, full, BLOCK_1 + BLOCK_2}};
    for (const auto& [steps, result, report, content] : cases) {
        restart(steps);
        testing::internal::CaptureStderr();
        EXPECT_EQ(result, RelayArguments().write());
        EXPECT_EQ(report, testing::internal::GetCapturedStderr());
        change("limit=-1");
        EXPECT_EQ(content, contentOf(RELAY_FILE));
    }
}

TEST_F(MailFiles, NoValueMakesAHeaderOfItsOwn) {
    EXPECT_EQ(0, sendEmail("a@b\r\nBcc: c@d", "one\ntwo", "line\r\nline"));
    EXPECT_EQ(DATE + "From: pm@example.org\nTo: a@b  Bcc: c@d\nSubject: one two\n"
                     "Content-type: text/plain\n\nline\r\nline" LINKS_TO("192.0.2.7") "\n\n",
              script.commands.at(0).message);
    TestEmailStruct request; // no field is read further than its end
    std::memset(&request, 'f', sizeof request);
    EXPECT_EQ(0, send(sendTestEmail, request));
    const string field(255, 'f');
    EXPECT_EQ(DATE + "From: pm@example.org\nTo: " + field + "\nSubject: " + field +
                  "\nContent-type: text/plain\n\n" + field + "\n\n",
              script.commands.at(1).message);
}

string bodyOf(const Command& command) {
    const size_t body = command.message.find("text/plain\n\n") + 12;
    return command.message.substr(body, command.message.size() - body - 2);
}

TEST_F(MailFiles, LinksOfTheCoreSender) {
    const string b2000(2000, 'b'), b2039(2039, 'b'), b2100(2100, 'b');
    const string only6 = "|@IPv6.1#Enable:1|servers=6";
    const Rows<string, string, string> cases = {
        {"@network.1#dnsregister:1", "b", "b" LINKS_TO("ctl1.example.org")},
        {"@network.1#dnsregister:2", "b", "b" LINKS_TO("192.0.2.7")},
        {"@network.1#dnsregister:1|domain=(none)", "b", "b" LINKS_TO("192.0.2.7")},
        {only6, "b", "b" LINKS_TO("[2001:db8::7]")},
        {"@network.1#dnsregister:1", "[] is [] []", "192.0.2.7 is [] []"},
        {"@network.1#dnsregister:1" + only6, "at []", "at [2001:db8::7]"},
        {"", b2000, b2000 + "\nTo launch the Norvu Web Interface, cli"},
        {"", b2039, b2039},
        {"", b2100, b2039},
        {"", b2100 + "[]" + b2100, b2100 + "192.0.2.7" + string(4095 - 2100 - 9, 'b')}};
    for (const auto& [steps, body, sent] : cases) {
        restart("runs=1|" + steps);
        EXPECT_EQ(0, sendEmail("to@example.org", "s", body.c_str()));
        for (const Command& command : script.commands)
            EXPECT_EQ(sent, bodyOf(command)); // the same at both attempts
    }
}

TEST_F(MailFiles, FooterStaysInsideTheBodyField) {
    const std::pair<size_t, string> cases[] = {
        {0,
         "\nNorvu web UI: https://192.0.2.7\nNorvu virtual console: https://192.0.2.7/console\n"},
        {240, "\nNorvu web UI:"},
        {253, "\n"},
        {254, ""},
        {255, ""}};
    for (const auto& [length, footer] : cases) {
        restart("zuvastatus_bool_zuva_present:1|runs=101");
        const string body(length, 'b'), sent = body + footer;
        auto test = testRequest(body);
        auto alert = alertRequest(body);
        EXPECT_EQ(0, sendTestEmail(sizeof test, &test));
        EXPECT_EQ(0, sendAlertEmail(sizeof alert, &alert));
        ASSERT_EQ(4U, script.commands.size());
        for (const Command& command : script.commands)
            EXPECT_EQ(sent, bodyOf(command)); // one footer, at both attempts
        EXPECT_EQ(sent, string(test.szBody, strnlen(test.szBody, 255)));
        EXPECT_EQ(sent, string(alert.szBody, strnlen(alert.szBody, 255)));
        EXPECT_EQ('x', alert.reserved259);
    }
}

} // namespace
