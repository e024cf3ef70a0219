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

constexpr int SPARE_TEXTS = 10000; // "00000" to "09999"

std::mutex heldLock;
// Never destroyed: detached threads may still signal it while the process exits.
std::condition_variable& released = *new std::condition_variable;
ThreadText* held = nullptr;
int nextSpare = 0;

bool isHeld(const Text<6>& text) {
    for (const ThreadText* other = held; other != nullptr; other = other->next()) {
        if (text.equals(other->c_str()))
            return true;
    }
    return false;
}

bool takeSpare(Text<6>& text) {
    for (int tries = 0; tries < SPARE_TEXTS; ++tries) {
        text.format("%05d", nextSpare);
        nextSpare = (nextSpare + 1) % SPARE_TEXTS;
        if (!isHeld(text))
            return true;
    }
    return false;
}

// What has been removed, in lines of a bounded length.
struct Removed {
    Text<512> paths;

    void tell() {
        if (!paths.empty())
            PM_LOG_ERROR_AS("removeLeftFiles", "removed what an earlier pm has left:%s\n",
                            paths.c_str());
        paths.clear();
    }
    void remove(const char* path) {
        if (unlink(path) != 0)
            return;
        if (paths.length() + std::strlen(path) + 2 > paths.capacity())
            tell();
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

ThreadText::ThreadText(int threadId) {
    std::unique_lock<std::mutex> lock(heldLock);
    m_text.format("%d", threadId);
    if (isHeld(m_text))
        released.wait(lock, [this] { return takeSpare(m_text); });
    m_next = held;
    held = this;
}

ThreadText::~ThreadText() {
    const std::lock_guard<std::mutex> lock(heldLock);
    ThreadText** link = &held;
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
    removed.tell();
}

} // namespace pm
