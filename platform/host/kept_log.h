// The last log lines of all levels, kept in memory: why something went wrong can
// be asked afterwards, whether or not the trace was on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace pm::host {

inline constexpr size_t KEPT_LINES = 500;
inline constexpr size_t KEPT_BYTES = size_t{64} << 10U; // what tells them apart included
// Of the failures among them as many are kept beyond that, so that what succeeds
// afterwards does not push them out.
inline constexpr int FAILURE_LEVEL = 3; // and below
inline constexpr size_t KEPT_FAILURES = 100;
inline constexpr size_t KEPT_FAILURE_BYTES = size_t{16} << 10U;

// Keeps a line (printable, without a line end); the oldest make room. The value
// behind an option -c, the SNMP community, becomes ***. Cuts what is above 1 kB.
void keepLine(const timespec& time, int level, int module, std::string_view text);

struct LineFilter {
    size_t count = SIZE_MAX; // the last so many of those that pass the rest
    int64_t level = INT64_MAX;
    int64_t since = 0; // milliseconds since 1970
};

// The kept lines that pass, each as "NUMBER MILLISECONDS LEVEL MODULE TEXT" and a
// line feed: numbers count from 1, the time is that since 1970.
std::string keptLines(const LineFilter& filter);

// Whether somebody listens: then the loop is woken for each line.
void followLog(bool follow);
bool logIsFollowed();

// The same of the lines that came after line last, which becomes the newest.
std::string keptLinesAfter(uint64_t& last);
// The newest line's number.
uint64_t newestLine();

} // namespace pm::host
