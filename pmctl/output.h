// How pmctl speaks: colours on a terminal alone, times, JSON.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace pm::ctl {

enum class Colour : uint8_t { Red, Yellow };

// The text in a colour if the stream is a terminal and NO_COLOR is not set; else
// as it is.
std::string coloured(std::FILE* stream, Colour colour, const std::string& text);

// "pmctl: TEXT" on standard error, in red; format as printf.
void complain(const char* format, ...) __attribute__((format(printf, 1, 2)));

// "2026-01-31T13:00:00.000+01:00" from milliseconds since 1970, or with a Z in UTC.
std::string timeText(int64_t milliseconds, bool utc);

// --- JSON ------------------------------------------------------------------

// A text with its quotes; what is no UTF-8 becomes U+FFFD.
std::string jsonText(std::string_view text);

struct JsonMember {
    std::string name;
    std::string value; // JSON
};
std::string jsonObject(const std::vector<JsonMember>& members);
std::string jsonArray(const std::vector<std::string>& values);

} // namespace pm::ctl
