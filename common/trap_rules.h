// What may stand on the command line of a trap: neither value may change what is
// run, whatever splits the line. The destination stands there bare, the community
// in single quotes.
#pragma once

#include <string_view>

namespace pm {

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

constexpr bool isSafeCommunity(std::string_view community) {
    for (const char sign : community) {
        if (sign == '\'' || sign == '\\' || (sign >= '\0' && sign < ' ') || sign == '\x7f')
            return false;
    }
    return true;
}

} // namespace pm
