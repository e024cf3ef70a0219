// log: the last trace lines, and those to come.
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/client/printable.h"
#include "pmctl/exchange.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

constexpr int32_t MOST_LINES = 500;

void declareLog(CLI::App& verb, Options& options) {
    options.lines = MOST_LINES;
    verb.add_option("-n,--lines", options.lines, "How many; default 500, which is all there can be")
        ->type_name("N")
        ->check(CLI::Range(0, MOST_LINES));
    verb.add_flag("-f,--follow", options.follow, "Go on with the lines to come, until interrupted");
}

// Takes a number and the blank behind it off the line's start; 0 if there is none.
int64_t takeNumber(std::string_view& line) {
    int64_t number = 0;
    while (!line.empty() && line.front() >= '0' && line.front() <= '9') {
        number = number * 10 + (line.front() - '0');
        line.remove_prefix(1);
    }
    if (line.starts_with(' '))
        line.remove_prefix(1);
    return number;
}

// Prints a line, if it is a later one than the last.
void printLine(std::string_view line, int64_t& last) {
    const int64_t number = takeNumber(line);
    if (number <= last)
        return;
    if (last != 0 && number != last + 1)
        std::fprintf(stderr, "pmctl: %" PRId64 " lines are missing here\n", number - last - 1);
    last = number;
    const int64_t time = takeNumber(line);
    const int64_t level = takeNumber(line);
    const int64_t module = takeNumber(line);
    std::printf("%s %" PRId64 " [%" PRId64 "] %s\n", timeText(time).c_str(), level, module,
                escapeControls(line).c_str());
}

int printLast(const Options& options, int64_t& last) {
    Reply reply;
    const int status = ask(options, {"log", {std::to_string(options.lines)}, {}}, reply);
    std::string_view lines = reply.fields.empty() ? "" : std::string_view(reply.fields.front());
    while (status == EXIT_DONE && !lines.empty()) {
        const size_t end = lines.find('\n');
        printLine(lines.substr(0, end), last);
        lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    return status;
}

// The subscription stands before the last lines are asked for, so that none is
// lost in between; those that come twice are printed once.
int followLog(const Options& options) {
    Connection connection(eventsEndpoint(runFolder(options)));
    Frames frames;
    int64_t last = 0;
    Outcome outcome = connection.listen(timeLimit(options), frames, LOG_SUBSCRIPTION);
    if (outcome == Outcome::Answered) {
        const int status = printLast(options, last);
        if (status != EXIT_DONE)
            return status;
    }
    while (outcome == Outcome::Answered) {
        if (frames.size() == 3 && frames[1].view() == "line")
            printLine(frames[2].view(), last);
        std::fflush(stdout);
        if (std::ferror(stdout) != 0)
            return EXIT_FAILED; // nobody reads on
        outcome = connection.listen({}, frames);
    }
    return tellEnd(options, outcome);
}

int showLog(const Options& options) {
    int64_t last = 0;
    return options.follow ? followLog(options) : printLast(options, last);
}

constexpr Verb verbs[] = {
    {"log", "Prints pm's last trace lines, kept with or without -debug",
     "  pmctl log -n 50\n"
     "  pmctl log -f                       # goes on with what comes\n"
     "  pmctl log | grep 'command failed'  # why was the mail not taken?",
     declareLog, showLog},
};

} // namespace

std::span<const Verb> logVerbs() {
    return verbs;
}

} // namespace pm::ctl
