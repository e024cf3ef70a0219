// Logs the result of each mail to the journal, with fields that an operator can query.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pm::host {

// Call after a command that succeeded. If it was msmtp, logs that the mail in messagePath was
// accepted, with its recipient.
void logMailTaken(std::string_view program, const char* messagePath);

// Returns journal fields for a line, each "NAME=value": MESSAGE_ID of a failure that
// packaging/pm.catalog explains, PM_DESTINATION and PM_STATUS of a mail.
std::vector<std::string> journalFields(std::string_view line);

} // namespace pm::host
