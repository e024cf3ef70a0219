#include "mail/thread_files.h"

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <glob.h>
#include <mutex>
#include <unistd.h>

#include "mail/attempt.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr int SPARE_SUFFIXES = 10000; // "00000" to "09999"

std::mutex heldLock;
// Never destroyed: detached threads may still signal it while the process exits.
std::condition_variable& released = *new std::condition_variable;
ThreadSuffix* held = nullptr;
int nextSpare = 0;

bool isHeld(const Text<6>& text) {
    for (const ThreadSuffix* other = held; other != nullptr; other = other->next()) {
        if (text.equals(other->c_str()))
            return true;
    }
    return false;
}

bool takeSpare(Text<6>& text) {
    for (int tries = 0; tries < SPARE_SUFFIXES; ++tries) {
        text.format("%05d", nextSpare);
        nextSpare = (nextSpare + 1) % SPARE_SUFFIXES;
        if (!isHeld(text))
            return true;
    }
    return false;
}

// Collects the removed paths and logs them in lines of limited length.
struct Removed {
    Text<512> paths;

    void logPaths() {
        if (!paths.empty())
            PM_LOG_ERROR_AS("removeLeftFiles", "removed what an earlier pm has left:%s\n",
                            paths.c_str());
        paths.clear();
    }
    void remove(const char* path) {
        if (unlink(path) != 0)
            return;
        if (paths.length() + std::strlen(path) + 2 > paths.capacity())
            logPaths();
        paths.append(" %s", path);
    }
};

void removeMatches(const char* path, Removed& removed) {
    // Matches the path followed by one to five digits.
    Text<255> pattern(path);
    for (int digits = 1; digits <= 5; ++digits) {
        pattern.append("[0-9]");
        glob_t found = {};
        if (glob(pattern.c_str(), GLOB_NOSORT, nullptr, &found) == 0) {
            for (size_t i = 0; i < found.gl_pathc; ++i)
                removed.remove(found.gl_pathv[i]);
        }
        globfree(&found);
    }
}

} // namespace

ThreadSuffix::ThreadSuffix(int threadId) {
    std::unique_lock<std::mutex> lock(heldLock);
    m_text.format("%d", threadId);
    if (isHeld(m_text))
        released.wait(lock, [this] { return takeSpare(m_text); });
    m_next = held;
    held = this;
}

ThreadSuffix::~ThreadSuffix() {
    const std::lock_guard<std::mutex> lock(heldLock);
    ThreadSuffix** link = &held;
    while (*link != this)
        link = &(*link)->m_next;
    *link = m_next;
    released.notify_one();
}

void removeLeftFiles() {
    Removed removed;
    removed.remove(MESSAGE_PATH);
    removeMatches(GENERIC_MESSAGE_PATH, removed);
    removeMatches(RELAY_CONFIG_PATH, removed);
    removed.logPaths();
}

} // namespace pm
