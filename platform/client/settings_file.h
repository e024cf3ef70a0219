// Reads a settings file: TOML with the tables [settings], [attributes] and
// [hardware]. What is wrong in it is told and left out; the rest is loaded.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/client/schema.h"

namespace pm::client {

// Below the root: what the operator writes, and what pm writes at run time.
inline constexpr std::string_view SETTINGS_FILE = "etc/pm.conf";
inline constexpr std::string_view RUN_TIME_FOLDER = "var/lib/pm";
inline constexpr std::string_view RUN_TIME_FILE = "var/lib/pm/settings.toml";

struct SettingsEntry {
    KeyId key;
    Value value;
    int line;
};

struct SettingsFinding {
    std::string file;
    int line;        // 0: the file as a whole
    std::string key; // empty where it is not about one key
    std::string message;
};

struct SettingsFile {
    std::vector<SettingsEntry> entries; // in order of line, each value once
    std::vector<SettingsFinding> findings;
    int error = 0; // errno if the file could not be read; it is a finding, too
};

SettingsFile readSettingsFile(const std::string& path);
// The same from a text; name is what the findings call the file.
SettingsFile parseSettings(std::string text, const std::string& name);

// The entry of a key, under whichever of its names; null if there is none.
const SettingsEntry* findEntry(const std::vector<SettingsEntry>& entries, KeyId key);

// "file:line: key: message"
std::string findingText(const SettingsFinding& finding);

} // namespace pm::client
