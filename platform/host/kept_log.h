// Keeps the last log lines of all levels in memory, so that a failure can be explained
// afterwards even if the trace was off.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace pm::host {

inline constexpr size_t KEPT_LINES = 500;
inline constexpr size_t KEPT_BYTES = size_t{64} << 10U; // with their headers
// Failures are kept in a second buffer too, so that later lines of success do not displace
// them.
inline constexpr int FAILURE_LEVEL = 3; // this level and lower numbers
inline constexpr size_t KEPT_FAILURES = 100;
inline constexpr size_t KEPT_FAILURE_BYTES = size_t{16} << 10U;

// Keeps a printable line without line end, cut at 1 kB; drops the oldest lines if needed. The
// value of an option -c, which is the SNMP community, is replaced by ***.
void keepLine(const timespec& time, int level, int module, std::string_view text);

struct LineFilter {
    size_t count = SIZE_MAX;   // of the lines that pass, only the last ones
    int64_t level = INT64_MAX; // and lower numbers
    int64_t since = 0;         // milliseconds since 1970
};

// Returns the lines that pass the filter, each as "NUMBER MILLISECONDS LEVEL MODULE TEXT" and
// a line feed. NUMBER counts from 1; MILLISECONDS are since 1970.
std::string keptLines(const LineFilter& filter);

// Whether a caller follows the log. If so, each line wakes the loop, which sends it.
void followLog(bool follow);
bool logIsFollowed();

// Returns the kept lines with a number greater than last, in the format of keptLines, and
// sets last to the newest line's number.
std::string keptLinesAfter(uint64_t& last);
// The newest line's number; 0 before the first line.
uint64_t newestLine();

} // namespace pm::host
