#include "common/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace pm {

void copyBounded(char* target, size_t size, std::string_view source) {
    if (size == 0)
        return;
    const size_t length = std::min(source.size(), size - 1);
    std::memcpy(target, source.data(), length);
    target[length] = '\0';
}

int formatBounded(char* target, size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(target, size, format, arguments);
    va_end(arguments);
    return length;
}

std::string_view fieldText(const char* field, size_t size) {
    return {field, strnlen(field, size)};
}

int32_t parseNumber(const char* text) {
    const long value = std::strtol(text, nullptr, 10);
    return static_cast<int32_t>(std::clamp<long>(value, std::numeric_limits<int32_t>::min(),
                                                 std::numeric_limits<int32_t>::max()));
}

HeapOwner<char> allocateText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    const size_t size = length < 0 ? 0 : static_cast<size_t>(length) + 1;
    HeapOwner<char> text(size == 0 ? nullptr : static_cast<char*>(std::malloc(size)));
    if (text)
        std::vsnprintf(text.get(), size, format, again);
    va_end(again);
    return text;
}

} // namespace pm
