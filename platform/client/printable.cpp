#include "platform/client/printable.h"

namespace pm::client {

std::string escapeControls(std::string_view text) {
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string printable;
    printable.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const auto code = static_cast<unsigned char>(text[i]);
        // The C1 controls are c2 80 to c2 9f in UTF-8.
        const bool second = code == 0xC2 && i + 1 < text.size() &&
                            static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                            static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (text[i] == '\n') {
            printable += "\\n";
        } else if (text[i] == '\t') {
            printable += "\\t";
        } else if (code < 0x20 || code == 0x7F || second) {
            const auto shown = static_cast<unsigned char>(second ? text[++i] : text[i]);
            printable += {'\\', 'x', DIGITS[shown >> 4U], DIGITS[shown & 15U]};
        } else {
            printable += text[i];
        }
    }
    return printable;
}

} // namespace pm::client
