// Text of unknown origin on its way to a log or a terminal.
#pragma once

#include <string>
#include <string_view>

namespace pm::client {

// The text with control characters written as \n, \t or \x1b, so that it stays
// one line and moves no terminal.
std::string escapeControls(std::string_view text);

} // namespace pm::client
