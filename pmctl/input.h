// From arguments and files into records; nothing is cut to fit.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "pmctl/options.h"

namespace pm::ctl {

// Reads a file, "-" being standard input, as it stands. False after a line.
bool readInput(const std::string& file, std::string& content);

// The text of --body or --body-file. False after a line.
bool readBody(const Options& options, std::string& body);

// False after a line, if the text has more bytes than limit or a zero byte.
bool fits(std::string_view text, size_t limit, const char* what);

// Puts a text into a field of a record with room for its terminator.
template <size_t N>
bool putText(char (&field)[N], std::string_view text, const char* what, size_t limit = N - 1) {
    if (!fits(text, limit, what))
        return false;
    std::memcpy(field, text.data(), text.size());
    return true;
}

} // namespace pm::ctl
