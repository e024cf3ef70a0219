// The file of the values written at run time, below var/lib/pm. It is replaced
// whole: killed at any moment, the old or the new content is there.
#pragma once

#include <string>
#include <vector>

#include "platform/client/settings_file.h"

namespace pm::host {

// What is there and what is wrong with it. A missing file is no finding. Sound
// values of a damaged file are read, and the file is kept beside as ".damaged".
client::SettingsFile readRuntimeFile();
// False: the old content stands, error says why.
bool writeRuntimeFile(const std::vector<client::SettingsEntry>& entries, std::string& error);
// False: it is still there, error says why.
bool removeRuntimeFile(std::string& error);

} // namespace pm::host
