// Formats output: colours (on a terminal only), times, JSON.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace pm::ctl {

enum class Colour : uint8_t { Red, Yellow };

// Returns the text with colour codes if the stream is a terminal and NO_COLOR is not set, else
// unchanged.
std::string coloured(std::FILE* stream, Colour colour, const std::string& text);

// Prints "pmctl: TEXT" on standard error, in red. format: as for printf.
void complain(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Formats milliseconds since 1970 as "2026-01-31T13:00:00.000+01:00", or in UTC with "Z".
std::string timeText(int64_t milliseconds, bool utc);

// --- JSON ------------------------------------------------------------------

// Quotes a text as a JSON string; bytes that are not UTF-8 become U+FFFD.
std::string jsonText(std::string_view text);

struct JsonMember {
    std::string name;
    std::string value; // already JSON
};
std::string jsonObject(const std::vector<JsonMember>& members);
std::string jsonArray(const std::vector<std::string>& values);

} // namespace pm::ctl
