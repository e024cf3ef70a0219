// Makes text of unknown origin safe for a log or a terminal.
#pragma once

#include <string>
#include <string_view>

namespace pm::client {

// Writes control characters as \n, \t or in the form \x1b, so that the text is one line
// and cannot control a terminal.
std::string escapeControls(std::string_view text);

} // namespace pm::client
