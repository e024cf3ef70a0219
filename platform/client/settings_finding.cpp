#include "platform/client/settings_finding.h"

namespace pm::client {

std::string findingText(const SettingsFinding& finding) {
    std::string text = finding.file;
    if (finding.line > 0)
        text += ":" + std::to_string(finding.line);
    if (!finding.key.empty())
        text += ": " + finding.key;
    return text + ": " + finding.message;
}

} // namespace pm::client
