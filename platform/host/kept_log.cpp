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
constexpr size_t LONGEST_NUMBERS = 40; // bytes of a line's numbers, beyond sizeof(Head)
constexpr std::string_view COMMUNITY_OPTION = " -c '";
constexpr std::string_view MASK = "***";

struct Head {
    uint64_t number;
    int64_t milliseconds;
    uint16_t length; // of the text that follows it
    uint16_t module;
    uint8_t level;
};

// A ring buffer of lines, each a Head and its text. Places only ever grow (they are taken
// modulo BYTES), so a full ring and an empty one differ.
template <size_t BYTES, size_t LINES>
struct Ring {
    char bytes[BYTES];
    uint64_t first = 0; // place of the oldest line
    uint64_t end = 0;   // place after the newest
    size_t lines = 0;

    void write(const void* data, size_t size) {
        const size_t at = end % BYTES;
        const size_t whole = std::min(size, BYTES - at);
        std::memcpy(bytes + at, data, whole);
        std::memcpy(bytes, static_cast<const char*>(data) + whole, size - whole);
        end += size;
    }
    void read(uint64_t place, void* data, size_t size) const {
        const size_t at = place % BYTES;
        const size_t whole = std::min(size, BYTES - at);
        std::memcpy(data, bytes + at, whole);
        std::memcpy(static_cast<char*>(data) + whole, bytes, size - whole);
    }
    Head headAt(uint64_t place) const {
        Head head;
        read(place, &head, sizeof head);
        return head;
    }
    void keep(const Head& head, std::string_view text) {
        const size_t size = sizeof head + text.size();
        while (lines == LINES || end - first + size > BYTES) {
            first += sizeof(Head) + headAt(first).length;
            --lines;
        }
        write(&head, sizeof head);
        write(text.data(), text.size());
        ++lines;
    }
    uint64_t oldest() const { return lines == 0 ? UINT64_MAX : headAt(first).number; }

    // Calls visit(place, head) for each line that passes and whose number is below before.
    template <typename Visit>
    void walk(const LineFilter& filter, uint64_t before, Visit visit) const {
        for (uint64_t place = first; place != end;) {
            const Head head = headAt(place);
            if (head.number < before && head.level <= filter.level &&
                head.milliseconds >= filter.since)
                visit(place, head);
            place += sizeof head + head.length;
        }
    }
    void append(std::string& text, uint64_t place, const Head& head) const {
        char numbers[LONGEST_NUMBERS + sizeof head];
        std::snprintf(numbers, sizeof numbers, "%" PRIu64 " %" PRId64 " %d %d ", head.number,
                      head.milliseconds, head.level, head.module);
        const size_t length = text.append(numbers).size();
        text.resize(length + head.length);
        read(place + sizeof head, text.data() + length, head.length);
        text += '\n';
    }
};

// Zero-initialised static data: a page takes memory only once it is written.
std::mutex mutex;
Ring<KEPT_BYTES, KEPT_LINES> ring;
Ring<KEPT_FAILURE_BYTES, KEPT_FAILURES> failures;
uint64_t newest = 0;
std::atomic<bool> followed{false};

// Mutex held. The first walk measures: a growing string would fragment the heap.
std::string passingLines(const LineFilter& filter) {
    size_t lines = 0;
    size_t bytes = 0;
    const uint64_t oldest = ring.oldest();
    const auto measure = [&](uint64_t, const Head& head) {
        ++lines;
        bytes += head.length + LONGEST_NUMBERS;
    };
    failures.walk(filter, oldest, measure);
    ring.walk(filter, UINT64_MAX, measure);
    size_t skipped = lines - std::min(lines, filter.count);
    std::string text;
    text.reserve(bytes);
    const auto appendFrom = [&](const auto& from) {
        return [&](uint64_t place, const Head& head) {
            if (skipped > 0)
                --skipped;
            else
                from.append(text, place, head);
        };
    };
    failures.walk(filter, oldest, appendFrom(failures));
    ring.walk(filter, UINT64_MAX, appendFrom(ring));
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
    const std::lock_guard lock(mutex);
    const Head head = {++newest, int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000,
                       static_cast<uint16_t>(text.size()), static_cast<uint16_t>(module),
                       static_cast<uint8_t>(level)};
    ring.keep(head, text);
    if (level <= FAILURE_LEVEL)
        failures.keep(head, text);
}

std::string keptLines(const LineFilter& filter) {
    const std::lock_guard lock(mutex);
    return passingLines(filter);
}

void followLog(bool follow) {
    followed = follow;
}

bool logIsFollowed() {
    return followed;
}

std::string keptLinesAfter(uint64_t& last) {
    const std::lock_guard lock(mutex);
    const size_t count = static_cast<size_t>(newest - std::exchange(last, newest));
    return count == 0 ? std::string() : passingLines({std::min(count, ring.lines)});
}

uint64_t newestLine() {
    const std::lock_guard lock(mutex);
    return newest;
}

} // namespace pm::host
