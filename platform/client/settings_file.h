// Reads a settings file: TOML with the tables [settings], [attributes] and
// [hardware]. What is wrong in it is told and left out; the rest is loaded.
#pragma once

#include <string>
#include <vector>

#include "platform/client/schema.h"

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

// "file:line: key: message"
std::string findingText(const SettingsFinding& finding);
