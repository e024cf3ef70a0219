// libzmq 4.3 does not limit connections, and aborts the process when accept4 finds no free
// descriptor. It calls accept4 through the dynamic linker, which finds this definition first.
#include "platform/host/accept.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <mutex>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/logging.h"

namespace pm::host {

namespace {

// Descriptors kept free: three for each of 64 commands, 64 open mail files, and pm's own.
constexpr rlim_t KEPT = 512;
constexpr time_t SECONDS_BETWEEN_LINES = 10;

// A connection. The system reuses descriptors, so the inode shows whether it is still this one.
struct Known {
    ino_t inode = 0; // 0: no connection
    uint64_t order = 0;
    bool asked = false; // never closed to make room
};
struct Connections {
    std::mutex mutex;
    std::vector<Known> known; // by descriptor
    uint64_t accepted = 0;
};
// Never destroyed: libzmq's thread may use it until the process has ended.
Connections& connections() {
    static Connections& instance = *new Connections;
    return instance;
}

int spare = -1; // closed to free a descriptor for a connection that is refused

// The lowest descriptor of the kept range. The system assigns the lowest free number, so a
// connection with a number in this range means that fewer than KEPT are free.
int firstKept() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return INT32_MAX;
    const rlim_t kept = std::min(KEPT, limit.rlim_cur / 2);
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur - kept, INT32_MAX));
}

int systemAccept(int listener, sockaddr* address, socklen_t* length, int flags) {
    return static_cast<int>(::syscall(SYS_accept4, listener, address, length, flags));
}

// Accepts and closes a connection when no descriptor is free. A connection that stays
// unaccepted would wake libzmq's thread again and again.
void refuseOnSpare(int listener) {
    if (spare >= 0)
        ::close(spare);
    const int connection = systemAccept(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0)
        ::close(connection);
    openSpareDescriptor();
}

ino_t inodeOf(int fd) {
    struct stat state {};
    return ::fstat(fd, &state) == 0 ? state.st_ino : 0;
}

bool toRequestSocket(int connection) {
    sockaddr_un address = {};
    socklen_t length = sizeof address - 1;
    return ::getsockname(connection, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           std::string_view(address.sun_path).ends_with("/requests");
}

void remember(int connection) {
    // Subscribers of events send no requests; they must not be closed for it.
    const bool asked = !toRequestSocket(connection);
    const std::lock_guard lock(connections().mutex);
    auto& known = connections().known;
    const auto at = static_cast<size_t>(connection);
    if (known.size() <= at)
        known.resize(at + 1);
    known[at] = {inodeOf(connection), ++connections().accepted, asked};
}

// Shuts down the oldest connection that has sent no request. Only this thread closes
// connections, so the descriptor cannot be reused meanwhile.
bool evictIdle() {
    const std::lock_guard lock(connections().mutex);
    auto& known = connections().known;
    for (;;) {
        auto oldest = known.end();
        for (auto each = known.begin(); each != known.end(); ++each)
            if (each->inode != 0 && !each->asked &&
                (oldest == known.end() || each->order < oldest->order))
                oldest = each;
        if (oldest == known.end())
            return false;
        const int connection = static_cast<int>(oldest - known.begin());
        const ino_t inode = std::exchange(oldest->inode, 0);
        if (inode == inodeOf(connection))
            return ::shutdown(connection, SHUT_RDWR) == 0;
    }
}

bool isAnyAtOrAbove(int descriptor) {
    const std::lock_guard lock(connections().mutex);
    auto& known = connections().known;
    for (auto at = static_cast<size_t>(descriptor); at < known.size(); ++at)
        if (known[at].inode != 0 && known[at].inode == inodeOf(static_cast<int>(at)))
            return true;
    return false;
}

// No exception may pass through libzmq.
bool admit(int connection) {
    try {
        const int kept = firstKept();
        if ((connection >= kept || isAnyAtOrAbove(kept)) && !evictIdle())
            return false;
        remember(connection);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void logRefusal() {
    static time_t lastLogged = 0;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (lastLogged != 0 && now.tv_sec - lastLogged < SECONDS_BETWEEN_LINES)
        return;
    lastLogged = now.tv_sec;
    mirlog_printf(
        PM_LEVEL_ERROR, PM_MODULE_SERVICE,
        "connections are refused: the remaining descriptors are reserved for mails and commands");
}

} // namespace

void openSpareDescriptor() {
    spare = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

void markConnectionUsed(int connection) {
    const std::lock_guard lock(connections().mutex);
    auto& known = connections().known;
    if (connection >= 0 && static_cast<size_t>(connection) < known.size())
        known[static_cast<size_t>(connection)].asked = true;
}

void cutConnection(int connection) {
    const std::lock_guard lock(connections().mutex);
    auto& known = connections().known;
    if (connection < 0 || static_cast<size_t>(connection) >= known.size())
        return;
    const ino_t inode = std::exchange(known[static_cast<size_t>(connection)].inode, 0);
    if (inode != 0 && inode == inodeOf(connection))
        ::shutdown(connection, SHUT_RDWR);
}

// Called only by libzmq's I/O thread, of which there is one.
extern "C" int accept4(int listener, sockaddr* address, socklen_t* length, int flags) {
    const int connection = systemAccept(listener, address, length, flags);
    const bool none = connection < 0 && (errno == EMFILE || errno == ENFILE);
    if (!none && (connection < 0 || admit(connection)))
        return connection;
    if (none)
        refuseOnSpare(listener);
    else
        ::close(connection);
    logRefusal();
    errno = ECONNABORTED; // libzmq treats it as a peer that went away
    return -1;
}

} // namespace pm::host
