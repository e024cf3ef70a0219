// Command lines: splitting, quoting and joining the words, then splitting gives the same words.
#include <cstdint>
#include <cstdlib>

#include "platform/host/words.h"

using namespace pm::host;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> words;
    std::vector<std::string> again;
    splitWords(std::string(data, data + size), words);
    std::string joined;
    for (const std::string& word : words) {
        joined += " '";
        for (const char letter : word)
            joined += letter == '\'' ? "'\"'\"'" : std::string(1, letter);
        joined += "'";
    }
    if (!splitWords(joined, again) || again != words)
        std::abort();
    return 0;
}
