// Validates values for the snmptrap command line: destination unquoted, community in
// single quotes; neither may alter the command.
#pragma once

#include <string_view>

namespace pm {

// Letters, digits and ".-_:%"; not empty, and no leading '-', which would be an option.
constexpr bool isSafeDestination(std::string_view destination) {
    constexpr std::string_view SIGNS = ".-_:%";
    for (const char sign : destination) {
        const bool letterOrDigit = (sign >= 'a' && sign <= 'z') || (sign >= 'A' && sign <= 'Z') ||
                                   (sign >= '0' && sign <= '9');
        if (!letterOrDigit && SIGNS.find(sign) == std::string_view::npos)
            return false;
    }
    return !destination.empty() && destination.front() != '-';
}

// Any text without single quotes, backslashes and control characters.
constexpr bool isSafeCommunity(std::string_view community) {
    for (const char sign : community) {
        const auto byte = static_cast<unsigned char>(sign);
        if (sign == '\'' || sign == '\\' || byte < ' ' || byte == 0x7f)
            return false;
    }
    return true;
}

} // namespace pm
