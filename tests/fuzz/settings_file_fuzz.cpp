// Settings files: loaded entries are valid, and every other line has a finding.
#include <algorithm>
#include <cstdlib>

#include "platform/client/settings_file.h"

using namespace pm::client;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(data, data + size);
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    const SettingsFile file = parseSettings(text, "pm.conf");
    std::string error;
    for (const SettingsEntry& entry : file.entries) {
        if (entry.line < 1 || entry.line > lines || !checkValue(entry.key, entry.value, error))
            std::abort();
    }
    for (const SettingsFinding& finding : file.findings) {
        if (finding.line > lines || findingText(finding).find('\n') != std::string::npos)
            std::abort();
    }
    return 0;
}
