// Checks that must hold for all output, whatever the input was.
#pragma once

#include <algorithm>
#include <regex>

#include "scripted_platform.h"

// The first words of all lines. A recipient or subject of a generic mail that was cut has lost
// its line feed, so its line ends at the cut.
inline std::string firstWords(const std::string& text, size_t cut) {
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
inline void expectSoundOutput() {
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
