// Reads a settings file: TOML with the tables [settings], [attributes] and [hardware].
// Faulty entries are reported and skipped; the rest is loaded.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/client/schema.h"
#include "platform/client/settings_finding.h"

namespace pm::client {

// Paths below pm's root: the operator's file, and the settings changed at run time.
inline constexpr std::string_view SETTINGS_FILE = "etc/pm.conf";
inline constexpr std::string_view RUN_TIME_FOLDER = "var/lib/pm";
inline constexpr std::string_view RUN_TIME_FILE = "var/lib/pm/settings.toml";

struct SettingsEntry {
    KeyId key;
    Value value;
    int line;
};

struct SettingsFile {
    std::vector<SettingsEntry> entries; // in order of line, each value once
    std::vector<SettingsFinding> findings;
    int error = 0; // errno if the file could not be read, also a finding
};

SettingsFile readSettingsFile(const std::string& path);
// The same for a text; findings use name as the file's name.
SettingsFile parseSettings(std::string text, const std::string& name);

// The entry of a key or of its alias; null if neither has an entry.
const SettingsEntry* findEntry(const std::vector<SettingsEntry>& entries, KeyId key);

} // namespace pm::client
