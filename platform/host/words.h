// Splits a command line into words, with no shell and no expansion.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pm::host {

// Blanks separate words. Text in single or double quotes is taken literally, without the
// quotes, and joins what it touches; '' is an empty word. Backslash and $ are ordinary
// characters. Returns false if a quote is not closed.
bool splitWords(std::string_view line, std::vector<std::string>& words);

} // namespace pm::host
