// The one bounded text of the system: a fixed buffer that starts cleared and is
// always terminated, whatever is copied or formatted into it.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/owner.h"

namespace pm {

// Copies as much of source as fits size bytes with its terminator.
void copyBounded(char* target, size_t size, std::string_view source);

// snprintf: formats as much as fits size bytes with its terminator, and returns
// the length that the text would have had.
int formatBounded(char* target, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The text in a field of size bytes, up to its terminator or the field's end.
std::string_view fieldText(const char* field, size_t size);

// A number from decimal text as strtol reads it (leading digits count, none
// give 0), clamped to 32 bits so that no overflow turns into a sound number.
int32_t parseNumber(const char* text);

// Formatted text in newly allocated heap memory; null if there is none.
HeapOwner<char> allocateText(const char* format, ...) __attribute__((format(printf, 1, 2)));

template <size_t N>
class Text {
  public:
    static_assert(N > 0);

    Text() = default;
    explicit Text(std::string_view source) { assign(source); }

    static constexpr size_t capacity() { return N; }

    // For outside calls that fill the buffer; terminate() behind each of them,
    // since a text that fills the buffer comes without a terminator.
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

    // As snprintf with the buffer's size as the bound; returns the length that
    // the text would have had without it.
    int format(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        va_list arguments;
        va_start(arguments, format);
        const int length = formatWithin(0, N, format, arguments);
        va_end(arguments);
        return length;
    }

    // The same with a bound of the caller's, at most the buffer's size.
    int formatBounded(size_t bound, const char* format, ...) __attribute__((format(printf, 3, 4))) {
        va_list arguments;
        va_start(arguments, format);
        const int length = formatWithin(0, bound < N ? bound : N, format, arguments);
        va_end(arguments);
        return length;
    }

    // The same behind the text that is there.
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
