#include "platform/host/words.h"

namespace pm::host {

bool splitWords(std::string_view line, std::vector<std::string>& words) {
    words.clear();
    bool inWord = false;
    char quote = '\0';
    for (const char letter : line) {
        const bool blank = letter == ' ' || letter == '\t' || letter == '\n';
        if (quote == '\0' && blank) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (letter == quote)
            quote = '\0';
        else if (quote == '\0' && (letter == '\'' || letter == '"'))
            quote = letter;
        else
            words.back() += letter;
    }
    return quote == '\0';
}

} // namespace pm::host
