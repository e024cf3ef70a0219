// What is wrong in a settings file.
#pragma once

#include <string>

namespace pm::client {

struct SettingsFinding {
    std::string file;
    int line;        // 0: the file as a whole
    std::string key; // empty if the finding is not about one key
    std::string message;
};

// "file:line: key: message"
std::string findingText(const SettingsFinding& finding);

} // namespace pm::client
