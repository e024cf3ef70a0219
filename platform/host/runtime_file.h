// The file below var/lib/pm with the values written at run time. A write replaces the file
// atomically: after a crash it has either the old or the new content.
#pragma once

#include <string>
#include <vector>

#include "platform/client/settings_file.h"

namespace pm::host {

// Returns the entries and findings; none if the file is missing. If there are findings, the
// valid entries are returned, and a copy is kept with the suffix ".damaged".
client::SettingsFile readRuntimeFile();
// On failure returns false and sets error; the old content remains.
bool writeRuntimeFile(const std::vector<client::SettingsEntry>& entries, std::string& error);
// On failure returns false and sets error; the file remains.
bool removeRuntimeFile(std::string& error);

} // namespace pm::host
