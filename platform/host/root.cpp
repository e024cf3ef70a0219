#include "platform/host/root.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/client/fd.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

constexpr const char* RUN_FOLDER = "run/pm";
// Independent of PM_HOST_ROOT, as pms of all roots share it. Only root may write there.
constexpr const char* CLAIMS_FOLDER = "/run/pm";
constexpr const char* CLAIMS = "/run/pm/tmp.claims";
constexpr uint64_t OFFSETS = INT64_MAX / 2;
constexpr const char* TEMPORARY_LOCK = "/tmp/pm.lock"; // for users without access to it

void refuse(const std::string& path, const std::string& reason) {
    mirlog_printf(PM_LEVEL_FATAL, PM_MODULE_SERVICE, "pm cannot run: %s: %s", path.c_str(),
                  reason.c_str());
}

std::string heldBy(int pid) {
    return pid > 0 ? "held by another pm, process " + std::to_string(pid) : "held by another pm";
}

std::string holderOf(int fd) {
    char text[16] = {};
    const ssize_t got = ::pread(fd, text, sizeof text, 0);
    int pid = 0;
    if (got > 0)
        std::from_chars(text, text + got, pid);
    return heldBy(pid);
}

// Opens a lock file only if it is a regular file of this user with one name: in /tmp, another
// user may have put a link or a file there.
Fd openLock(const std::string& path) {
    Fd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
    struct stat state {};
    if (!fd.valid() || ::fstat(fd.get(), &state) != 0) {
        refuse(path, errno == ELOOP ? "is a symbolic link; remove it" : std::strerror(errno));
        return {};
    }
    if (!S_ISREG(state.st_mode) || state.st_nlink != 1 || state.st_uid != ::geteuid()) {
        refuse(path, "is not a regular file that only this user owns; remove it");
        return {};
    }
    return fd;
}

// Locks the file and writes the process number into it. The lock ends with the process, even
// if it is killed; the file remains.
Fd takeLock(const std::string& path) {
    Fd fd = openLock(path);
    if (!fd.valid())
        return fd;
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        refuse(path, errno == EWOULDBLOCK ? holderOf(fd.get()) : std::strerror(errno));
        return {};
    }
    const std::string pid = std::to_string(::getpid()) + "\n";
    // The number is informative only: a full disk must not stop pm.
    if (::ftruncate(fd.get(), 0) == 0 && ::pwrite(fd.get(), pid.data(), pid.size(), 0) < 0)
        errno = 0;
    return fd;
}

// Whether the claims folder exists, or can be made, and no other user may write to it.
bool haveClaimsFolder() {
    struct stat state {};
    return (::mkdir(CLAIMS_FOLDER, 0700) == 0 || errno == EEXIST) &&
           ::lstat(CLAIMS_FOLDER, &state) == 0 && S_ISDIR(state.st_mode) &&
           state.st_uid == ::geteuid() && (state.st_mode & 022U) == 0 &&
           ::access(CLAIMS_FOLDER, W_OK) == 0;
}

// Claims /tmp by locking one byte of the claims file. The byte's offset is computed from
// /tmp's device and inode, as each service may have a /tmp of its own.
Fd takeClaim() {
    struct stat state {};
    if (::stat("/tmp", &state) != 0) {
        refuse("/tmp", std::strerror(errno));
        return {};
    }
    Fd fd = openLock(CLAIMS);
    if (!fd.valid())
        return fd;
    struct flock byte {};
    byte.l_type = F_WRLCK;
    byte.l_start = static_cast<off_t>((state.st_ino ^ (state.st_dev << 40U)) & OFFSETS);
    byte.l_len = 1;
    if (::fcntl(fd.get(), F_SETLK, &byte) == 0)
        return fd;
    const bool held = errno == EACCES || errno == EAGAIN;
    const std::string reason = std::strerror(errno);
    if (!held || ::fcntl(fd.get(), F_GETLK, &byte) != 0 || byte.l_type == F_UNLCK)
        byte.l_pid = 0;
    refuse("/tmp", held ? heldBy(byte.l_pid) : reason);
    return {};
}

Fd claimTemporary() {
    return haveClaimsFolder() ? takeClaim() : takeLock(TEMPORARY_LOCK);
}

bool lockRootAndTemporary() {
    if (!makeHostFolder(RUN_FOLDER)) {
        refuse(hostPath(RUN_FOLDER), std::strerror(errno));
        return false;
    }
    Fd root = takeLock(hostPath(RUN_FOLDER) + "/lock");
    Fd temporary = root.valid() ? claimTemporary() : Fd();
    if (!temporary.valid())
        return false;
    // Never closed: the locks must last until the process ends.
    root.release();
    temporary.release();
    return true;
}

} // namespace

std::string hostPath(std::string_view relative) {
    const char* root = std::getenv("PM_HOST_ROOT");
    std::string path = root == nullptr ? "" : root;
    while (path.ends_with('/'))
        path.pop_back();
    if (!relative.starts_with('/'))
        path += '/';
    return path.append(relative);
}

bool makeHostFolder(std::string_view relative) {
    const std::string whole = hostPath(relative);
    for (size_t end = hostPath("/").size(); end != std::string::npos; ++end) {
        end = whole.find('/', end);
        const std::string folder = whole.substr(0, end);
        const mode_t mode = end == std::string::npos ? 0700 : 0755;
        if (::mkdir(folder.c_str(), mode) != 0 && errno != EEXIST)
            return false;
        if (end == std::string::npos)
            break;
    }
    struct stat state {};
    if (::stat(whole.c_str(), &state) != 0)
        return false;
    if (!S_ISDIR(state.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return (state.st_mode & 077U) == 0 || ::chmod(whole.c_str(), 0700) == 0;
}

bool claimHost() {
    static std::mutex mutex;
    static pid_t asked = 0; // a forked child has no claim and must try for itself
    static bool granted = false;
    const std::lock_guard lock(mutex);
    if (asked != ::getpid()) {
        granted = lockRootAndTemporary();
        asked = ::getpid();
    }
    return granted;
}

} // namespace pm::host
