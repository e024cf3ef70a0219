// log: prints the last log lines, and follows the log.
#include <array>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <unistd.h>

#include "platform/client/printable.h"
#include "pmctl/exchange.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

constexpr int32_t MOST_LINES = 600;

struct Level {
    const char* name;
    int64_t number;
};
constexpr std::array<Level, 5> levels = {
    {{"fatal", 1}, {"error", 2}, {"warning", 3}, {"notice", 4}, {"trace", 6}}};

void declareLog(CLI::App& verb, Options& options) {
    options.lines = MOST_LINES;
    verb.add_option("-n,--lines", options.lines, "Number of lines; default all that pm keeps")
        ->type_name("N")
        ->check(CLI::Range(0, MOST_LINES));
    verb.add_option("-l,--level", options.level,
                    "Only this level and more severe ones: fatal, error, warning, notice, trace")
        ->type_name("LEVEL")
        ->check(CLI::IsMember({"fatal", "error", "warning", "notice", "trace"}));
    verb.add_option("--since", options.since,
                    "Only lines since a time: 10m, 2h or 1d (ago), 14:30, 2026-01-31 14:30:05")
        ->type_name("TIME");
    verb.add_flag("-f,--follow", options.follow,
                  "Go on with new lines, across restarts of pm, until interrupted");
    declareUtc(verb, options);
}

int64_t levelOf(const Options& options) {
    for (const Level& level : levels)
        if (options.level == level.name)
            return level.number;
    return INT64_MAX;
}

// Parses "10m", "14:30", "2026-01-31 14:30" and the like to milliseconds since 1970; returns
// -1 if it cannot.
int64_t timeOf(const std::string& text) {
    const int64_t now = std::time(nullptr);
    int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    constexpr std::string_view UNITS = "smhd";
    constexpr int64_t SECONDS[] = {1, 60, 3600, 86400};
    const size_t unit = stop + 1 == end ? UNITS.find(*stop) : std::string_view::npos;
    if (error == std::errc() && unit != std::string_view::npos && number >= 0 && number < 100000)
        return (now - number * SECONDS[unit]) * 1000;
    for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M",
                               "%Y-%m-%dT%H:%M", "%Y-%m-%d", "%H:%M:%S", "%H:%M"}) {
        tm parts{};
        const time_t today = now;
        localtime_r(&today, &parts);
        parts.tm_sec = 0;
        if (format[1] == 'Y')
            parts = {};
        parts.tm_isdst = -1;
        const char* rest = ::strptime(text.c_str(), format, &parts);
        if (rest != nullptr && *rest == '\0')
            return int64_t{std::mktime(&parts)} * 1000;
    }
    return -1;
}

// Removes a number and a blank from the start of the line; returns 0 without a number.
int64_t readNumber(std::string_view& line) {
    int64_t number = 0;
    while (!line.empty() && line.front() >= '0' && line.front() <= '9') {
        number = number * 10 + (line.front() - '0');
        line.remove_prefix(1);
    }
    if (line.starts_with(' '))
        line.remove_prefix(1);
    return number;
}

// The last line printed.
struct Position {
    int64_t number = 0;
    int64_t time = 0;
    bool sent = false; // pm sends each line, so a gap in the numbers means lost lines
};

// Prints a line if it is later than the last one.
void printLine(const Options& options, std::string_view line, Position& last) {
    const int64_t number = readNumber(line);
    if (number <= last.number)
        return;
    if (last.sent && number != last.number + 1)
        std::fprintf(stderr, "pmctl: %" PRId64 " lines are missing here\n",
                     number - last.number - 1);
    last.number = number;
    last.time = readNumber(line);
    const int64_t level = readNumber(line);
    const int64_t module = readNumber(line);
    if (level <= levelOf(options))
        std::printf("%s %" PRId64 " [%" PRId64 "] %s\n", timeText(last.time, options.utc).c_str(),
                    level, module, escapeControls(line).c_str());
}

int printLast(const Options& options, int64_t since, Position& last) {
    // After a restart of pm, all of its lines are new.
    const int32_t count = last.time == 0 ? options.lines : MOST_LINES;
    Request request = {"log", {std::to_string(count)}, {}};
    const int64_t level = levelOf(options);
    if (since > 0 || level != INT64_MAX)
        request.arguments.insert(request.arguments.end(),
                                 {std::to_string(level), std::to_string(since)});
    Reply reply;
    const int status = ask(options, request, reply);
    std::string_view lines = reply.fields.empty() ? "" : std::string_view(reply.fields.front());
    if (::isatty(STDOUT_FILENO) != 0 && status == EXIT_DONE && last.time == 0)
        std::fprintf(stderr, "TIME LEVEL [MODULE] TEXT; levels: 1 fatal, 2 error, 3 warning, "
                             "4 notice, 5 trace, 6 start\n");
    while (status == EXIT_DONE && !lines.empty()) {
        const size_t end = lines.find('\n');
        printLine(options, lines.substr(0, end), last);
        lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    return status;
}

// Subscribes before it asks for the last lines, so that none is lost in between; duplicates
// are skipped by number. A restarted pm numbers from 1 again, so then by time.
int followLog(const Options& options, int64_t since) {
    Position last;
    int status = EXIT_DONE;
    const auto begin = [&] {
        last.number = 0;
        last.sent = false;
        status = printLast(options, last.time == 0 ? since : last.time + 1, last);
        return status == EXIT_DONE;
    };
    const auto handle = [&](std::string_view kind, std::string_view text) {
        if (kind != "line")
            return;
        printLine(options, text, last);
        last.sent = true;
    };
    const int end = listenOn(options, LOG_SUBSCRIPTION, begin, handle);
    return status == EXIT_DONE ? end : status;
}

int showLog(const Options& options) {
    const int64_t since = options.since.empty() ? 0 : timeOf(options.since);
    if (since < 0)
        return wrongUse("--since: \"" + options.since +
                        "\" is no time; use 30s, 10m, 2h or 1d, or 14:30, or 2026-01-31 14:30");
    Position last;
    return options.follow ? followLog(options, since) : printLast(options, since, last);
}

} // namespace

std::span<const Verb> logVerbs() {
    static constexpr Verb verbs[] = {
        {"log", "Prints pm's last log lines, including trace lines (even without -debug)",
         "  pmctl log -n 50\n"
         "  pmctl log --level error --since 1d # what failed, and why\n"
         "  pmctl log -f                       # goes on with new lines\n"
         "Each line: time, level (1 fatal, 2 error, 3 warning, 4 notice, 5 trace, 6 start),\n"
         "module in brackets (220 service, 258 mails and traps), text. pm keeps 500 lines,\n"
         "and also the last 100 of levels 1 to 3.",
         declareLog, showLog},
    };
    return verbs;
}

} // namespace pm::ctl
