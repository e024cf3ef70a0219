// What "pmctl check" looks at, and what it has found.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/settings_file.h"

namespace pm::ctl {

enum class Severity : uint8_t { Error, Warning, Note }; // a note is no failure

struct Finding {
    Severity severity;
    client::SettingsFinding where; // and what
};

struct Checked {
    std::string path; // of the settings file
    std::string runTimePath;
    client::SettingsFile file;
    client::SettingsFile runTime;
    std::vector<Finding> findings;
};

// The value in force as text: of run time, else of the file, else the default;
// empty if there is none. key: as the schema spells it.
std::string valueInForce(const Checked& checked, std::string_view key);
bool isOn(const Checked& checked, std::string_view key); // true, or 1
// The value as a number; 0 if it is none.
int32_t numberInForce(const Checked& checked, std::string_view key);

// Adds a finding at the line that gives the key its value, or at the file.
void find(Checked& checked, Severity severity, std::string_view key, std::string message);

inline constexpr std::string_view SERVER_KEY = "pm_str_email_server_address";
inline constexpr std::string_view PORT_KEY = "Norvu.Embedded.1#Remotehosts.1#smtpport";
inline constexpr std::string_view ENCRYPTION_KEY =
    "Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption";
inline constexpr int MAIL_DESTINATIONS = 4;
inline constexpr int TRAP_DESTINATIONS = 8;
// Keys of a family: "pm_str_email_alert*_destination" with its number in place.
std::string numbered(std::string_view pattern, int number);

bool isServerSet(std::string_view server);
// AF_INET or AF_INET6 of an address, AF_UNSPEC of anything else.
int familyOf(const std::string& text);
// Why a trap destination is refused or cannot be reached as it is written; else null.
const char* destinationFault(const std::string& text);
bool familyIsOn(const Checked& checked, int family);

// Whether the values go together, and with what pm makes of them.
void checkValues(Checked& checked);
// What goes to the relay's configuration: who sends, login, encryption.
void checkMail(Checked& checked);
// Rights of settings, certificate and key, programs.
void checkMachine(Checked& checked);
void checkCertificate(Checked& checked);
bool isInPath(std::string_view program);
// Whether names resolve, the mail server talks, and the log manager is there.
void checkNetwork(Checked& checked);
void checkLogManager(Checked& checked);

} // namespace pm::ctl
