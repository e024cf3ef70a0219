#include "pmctl/output.h"

#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

#include "platform/client/schema.h"

namespace pm::ctl {

using namespace client;

namespace {

bool coloursWanted(std::FILE* stream) {
    const char* refused = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (refused == nullptr || *refused == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb" && ::isatty(::fileno(stream)) != 0;
}

std::string joined(char open, const std::vector<std::string>& parts, char close) {
    std::string text(1, open);
    for (const std::string& part : parts)
        text.append(text.size() == 1 ? "" : ",").append(part);
    return text + close;
}

// Length of the UTF-8 sequence at the start of the text; 0 if it is not valid.
size_t sequenceAt(std::string_view text) {
    for (size_t length = 1; length <= 4 && length <= text.size(); ++length)
        if (validUtf8(text.substr(0, length)))
            return length;
    return 0;
}

} // namespace

std::string coloured(std::FILE* stream, Colour colour, const std::string& text) {
    if (!coloursWanted(stream))
        return text;
    return (colour == Colour::Red ? "\033[31m" : "\033[33m") + text + "\033[0m";
}

void complain(const char* format, ...) {
    va_list arguments;
    va_list again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length < 0 ? 0 : static_cast<size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%s\n", coloured(stderr, Colour::Red, "pmctl: " + text).c_str());
}

std::string timeText(int64_t milliseconds, bool utc) {
    const time_t seconds = milliseconds / 1000;
    tm parts{};
    utc ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts);
    char text[64];
    const size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03d",
                  static_cast<int>(milliseconds % 1000));
    if (utc)
        return text + std::string("Z");
    char zone[16];
    strftime(zone, sizeof zone, "%z", &parts);
    return text + std::string(zone).insert(3, ":"); // "+0100"
}

std::string jsonText(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty()) {
        const size_t length = sequenceAt(text);
        const auto code = static_cast<unsigned char>(text[0]);
        if (length == 0) {
            quoted += "\\ufffd";
        } else if (code < 0x20 || code == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(code));
            quoted += escape;
        } else {
            quoted.append(code == '"' || code == '\\' ? "\\" : "").append(text.substr(0, length));
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return quoted + '"';
}

std::string jsonObject(const std::vector<JsonMember>& members) {
    std::vector<std::string> parts;
    parts.reserve(members.size());
    for (const JsonMember& member : members)
        parts.push_back(jsonText(member.name) + ":" + member.value);
    return joined('{', parts, '}');
}

std::string jsonArray(const std::vector<std::string>& values) {
    return joined('[', values, ']');
}

} // namespace pm::ctl
