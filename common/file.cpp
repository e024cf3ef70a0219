#include "common/file.h"

namespace pm {

FileOwner openUnbuffered(const char* path, const char* mode) {
    FileOwner file(std::fopen(path, mode));
    if (file)
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

bool writeAll(std::FILE* file, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

} // namespace pm
