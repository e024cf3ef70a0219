#include "common/file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pm {

namespace {

constexpr mode_t CREATION_MODE = 0666; // cut by the mask

// Opens path for writing. Returns a blocking descriptor, or -1 with errno set. Refuses a
// FIFO with ENXIO: opening or writing one could wait for a reader forever.
int openForWriting(const char* path, int flags) {
    const int fd = open(path, flags | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, CREATION_MODE);
    struct stat state {};
    if (fd < 0 || fstat(fd, &state) != 0 || !S_ISFIFO(state.st_mode)) {
        if (fd >= 0)
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
        return fd;
    }
    close(fd);
    errno = ENXIO; // as without a reader
    return -1;
}

} // namespace

FileOwner openUnbuffered(const char* path, const char* mode) {
    const int fd = openForWriting(path, std::strchr(mode, '+') != nullptr ? O_RDWR : O_WRONLY);
    if (fd < 0)
        return nullptr;
    FileOwner file(fdopen(fd, mode));
    if (file)
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
    else
        close(fd);
    return file;
}

bool writeAll(std::FILE* file, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

} // namespace pm
