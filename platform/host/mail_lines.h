// Each mail's outcome in the journal: a line, and fields that an operator can query.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pm::host {

// To be called after a command that succeeded. If the program is msmtp, logs the receiver
// of its mail, which is in the file messagePath.
void logMailTaken(std::string_view program, const char* messagePath);

// Fields of the journal for a line, each "NAME=value": MESSAGE_ID of a failure that
// packaging/pm.catalog explains; PM_DESTINATION and PM_STATUS of a mail.
std::vector<std::string> journalFields(std::string_view line);

} // namespace pm::host
