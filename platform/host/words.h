// Splits a command line into words, with no shell and no expansion.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pm::host {

// Words stand between blanks; single and double quotes keep blanks (and each
// other) and vanish; adjacent pieces are one word; '' is an empty word. Nothing
// else has a meaning, backslash and $ included. False: a quote is not closed.
bool splitWords(std::string_view line, std::vector<std::string>& words);

} // namespace pm::host
