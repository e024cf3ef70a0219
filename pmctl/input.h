// Fills records from arguments and files. Texts that are too long are refused, never cut.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "pmctl/options.h"

namespace pm::ctl {

// Reads a file, or standard input for "-". On failure prints why and returns false.
bool readInput(const std::string& file, std::string& content);

// Reads the text of --body or --body-file. On failure prints why and returns false.
bool readBody(const Options& options, std::string& body);

// Prints why and returns false if the text has more bytes than limit, or a zero byte.
bool fits(std::string_view text, size_t limit, const char* what);

// Copies a text into a record's field, with its terminator. Fails as fits() does.
template <size_t N>
bool putText(char (&field)[N], std::string_view text, const char* what, size_t limit = N - 1) {
    if (!fits(text, limit, what))
        return false;
    std::memcpy(field, text.data(), text.size());
    return true;
}

} // namespace pm::ctl
