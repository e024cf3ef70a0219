// State and checks of "pmctl check".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/settings_file.h"

namespace pm::ctl {

enum class Severity : uint8_t { Error, Warning, Note }; // notes do not fail the check

struct Finding {
    Severity severity;
    client::SettingsFinding where; // place and message
};

struct Checked {
    std::string path; // of the settings file
    std::string runTimePath;
    client::SettingsFile file;
    client::SettingsFile runTime;
    std::vector<Finding> findings;
};

// The value in force as text: set at run time, else in the file, else the default; empty
// without any. key: in the schema's spelling.
std::string valueInForce(const Checked& checked, std::string_view key);
bool isOn(const Checked& checked, std::string_view key); // whether it is true or 1
// The value as a number; 0 if it is not one.
int32_t numberInForce(const Checked& checked, std::string_view key);

// Adds a finding. Its place is the line that sets the key, else the file.
void addFinding(Checked& checked, Severity severity, std::string_view key, std::string message);

inline constexpr std::string_view SERVER_KEY = "pm_str_email_server_address";
inline constexpr std::string_view PORT_KEY = "Norvu.Embedded.1#Remotehosts.1#smtpport";
inline constexpr std::string_view ENCRYPTION_KEY =
    "Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption";
inline constexpr int MAIL_DESTINATIONS = 4;
inline constexpr int TRAP_DESTINATIONS = 8;
// Replaces the * of "pm_str_email_alert*_destination" by the number.
std::string numbered(std::string_view pattern, int number);

bool isServerSet(std::string_view server);
// AF_INET or AF_INET6 of an address, AF_UNSPEC of anything else.
int familyOf(const std::string& text);
// Says why a trap destination is refused or cannot work in this form; null if it can.
const char* destinationFault(const std::string& text);
bool familyIsOn(const Checked& checked, int family);

// Checks the values, and whether they fit together.
void checkValues(Checked& checked);
// Checks what goes into msmtp's configuration: sender, login, encryption.
void checkMail(Checked& checked);
// Checks file permissions, certificate and key, and programs.
void checkMachine(Checked& checked);
void checkCertificate(Checked& checked);
bool isInPath(std::string_view program);
// Checks that names resolve, the mail server greets, and the log manager is on the bus.
void checkNetwork(Checked& checked);
void checkLogManager(Checked& checked);

} // namespace pm::ctl
