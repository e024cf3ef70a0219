// Bounded texts: a text is cut to fit its buffer and always terminated.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/owner.h"

namespace pm {

// Copies source to target (size bytes), cut to fit with its terminator.
void copyBounded(char* target, size_t size, std::string_view source);

// Same as snprintf: cuts the text to fit size bytes with its terminator, and returns the
// length that it would have without the cut.
int formatBounded(char* target, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The text in a field of size bytes, up to its terminator or the end of the field.
std::string_view fieldText(const char* field, size_t size);

// Reads a decimal number as strtol does: what follows the digits is ignored, and without
// digits it is 0. Clamped to 32 bits, so that an overflow cannot give a valid number.
int32_t parseNumber(const char* text);

// Formats a text in newly allocated heap memory. Null if memory is exhausted.
HeapOwner<char> allocateText(const char* format, ...) __attribute__((format(printf, 1, 2)));

// A text in a buffer of N bytes, empty at first.
template <size_t N>
class Text {
  public:
    static_assert(N > 0);

    Text() = default;
    explicit Text(std::string_view source) { assign(source); }

    static constexpr size_t capacity() { return N; }

    // For outside calls that write to the buffer. Call terminate() after each of them: a
    // text that fills the buffer comes without a terminator.
    char* data() { return m_data; }
    void terminate() { m_data[N - 1] = '\0'; }

    const char* c_str() const { return m_data; }
    std::string_view view() const { return fieldText(m_data, N); }
    size_t length() const { return view().size(); }
    bool empty() const { return m_data[0] == '\0'; }
    bool equals(std::string_view other) const { return view() == other; }

    void clear() {
        for (char& each : m_data)
            each = '\0';
    }

    void assign(std::string_view source) {
        clear();
        copyBounded(m_data, N, source);
    }

    // Replaces the text, as snprintf does with the buffer's size. Returns the length that
    // the text would have without this bound.
    int format(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        va_list arguments;
        va_start(arguments, format);
        const int length = formatWithin(0, N, format, arguments);
        va_end(arguments);
        return length;
    }

    // The same with a smaller bound in bytes, terminator included.
    int formatBounded(size_t bound, const char* format, ...) __attribute__((format(printf, 3, 4))) {
        va_list arguments;
        va_start(arguments, format);
        const int length = formatWithin(0, bound < N ? bound : N, format, arguments);
        va_end(arguments);
        return length;
    }

    // The same, appended to the present text. Returns the full length of the addition.
    int append(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        va_list arguments;
        va_start(arguments, format);
        const int added = formatWithin(length(), N, format, arguments);
        va_end(arguments);
        return added;
    }

  private:
    int formatWithin(size_t start, size_t bound, const char* format, va_list arguments)
        __attribute__((format(printf, 4, 0))) {
        return __builtin_vsnprintf(m_data + start, bound - start, format, arguments);
    }

    char m_data[N] = {};
};

} // namespace pm
