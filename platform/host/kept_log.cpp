#include "platform/host/kept_log.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

namespace pm::host {

namespace {

constexpr size_t LONGEST_LINE = 1024;
constexpr size_t LONGEST_NUMBERS = 40; // in front of a line, beyond the size of its head
constexpr std::string_view COMMUNITY_OPTION = " -c '";
constexpr std::string_view MASK = "***";

struct Head {
    int64_t milliseconds;
    uint16_t length; // of the text behind it
    uint16_t module;
    uint8_t level;
};

// Lines one behind the other in a ring of bytes. Places count on from the start,
// so that the oldest and the newest are never the same place.
struct Ring {
    char bytes[KEPT_BYTES];
    uint64_t first = 0; // place of the oldest line
    uint64_t end = 0;   // place behind the newest
    uint64_t newest = 0;
    size_t lines = 0;

    void write(const void* data, size_t size) {
        const size_t at = end % KEPT_BYTES;
        const size_t whole = std::min(size, KEPT_BYTES - at);
        std::memcpy(bytes + at, data, whole);
        std::memcpy(bytes, static_cast<const char*>(data) + whole, size - whole);
        end += size;
    }
    void read(uint64_t place, void* data, size_t size) const {
        const size_t at = place % KEPT_BYTES;
        const size_t whole = std::min(size, KEPT_BYTES - at);
        std::memcpy(data, bytes + at, whole);
        std::memcpy(static_cast<char*>(data) + whole, bytes, size - whole);
    }
    Head headAt(uint64_t place) const {
        Head head;
        read(place, &head, sizeof head);
        return head;
    }
    void dropOldest() {
        first += sizeof(Head) + headAt(first).length;
        --lines;
    }
};

// Not initialised, so that only what has been written to takes memory.
std::mutex mutex;
Ring ring;
std::atomic<bool> followed{false};

// With the mutex held: the newest count lines.
std::string newestLines(size_t count) {
    std::string text;
    uint64_t place = ring.first;
    size_t left = ring.lines;
    for (; left > count; --left)
        place += sizeof(Head) + ring.headAt(place).length;
    // In one piece: what is grown step by step leaves holes behind.
    text.reserve(static_cast<size_t>(ring.end - place) + left * LONGEST_NUMBERS);
    for (; left > 0; --left) {
        const Head head = ring.headAt(place);
        char numbers[LONGEST_NUMBERS + sizeof head];
        std::snprintf(numbers, sizeof numbers, "%" PRIu64 " %" PRId64 " %d %d ",
                      ring.newest - left + 1, head.milliseconds, head.level, head.module);
        const size_t length = text.append(numbers).size();
        text.resize(length + head.length);
        ring.read(place + sizeof head, text.data() + length, head.length);
        text += '\n';
        place += sizeof head + head.length;
    }
    return text;
}

} // namespace

void keepLine(const timespec& time, int level, int module, std::string_view text) {
    // The command line of a trap holds the community in single quotes.
    std::string masked;
    if (const size_t option = text.find(COMMUNITY_OPTION); option != std::string_view::npos) {
        const size_t value = option + COMMUNITY_OPTION.size();
        masked.append(text.substr(0, value)).append(MASK);
        text.remove_prefix(std::min(text.find('\'', value), text.size()));
        text = masked.append(text);
    }
    text = text.substr(0, LONGEST_LINE);
    const Head head = {int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000,
                       static_cast<uint16_t>(text.size()), static_cast<uint16_t>(module),
                       static_cast<uint8_t>(level)};
    const size_t size = sizeof head + text.size();
    const std::lock_guard lock(mutex);
    while (ring.lines == KEPT_LINES || ring.end - ring.first + size > KEPT_BYTES)
        ring.dropOldest();
    ring.write(&head, sizeof head);
    ring.write(text.data(), text.size());
    ++ring.lines;
    ++ring.newest;
}

std::string keptLines(size_t count) {
    const std::lock_guard lock(mutex);
    return newestLines(count);
}

void followLog(bool follow) {
    followed = follow;
}

bool logIsFollowed() {
    return followed;
}

std::string keptLinesAfter(uint64_t& last) {
    const std::lock_guard lock(mutex);
    return newestLines(static_cast<size_t>(ring.newest - std::exchange(last, ring.newest)));
}

uint64_t newestLine() {
    const std::lock_guard lock(mutex);
    return ring.newest;
}

} // namespace pm::host
