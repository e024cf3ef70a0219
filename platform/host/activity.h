// What pm has done since it serves, and why it failed: counted here, told by the verb
// "status" and by replies.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pm::host {

enum class Work : uint8_t { Function, Topic };

struct Tally {
    uint64_t done = 0; // failed ones included
    uint64_t failed = 0;
    uint64_t running = 0;
};
using Tallies = std::map<std::string, Tally, std::less<>>;

struct Failure {
    int64_t milliseconds = 0; // since 1970; 0: there was none
    std::string name;         // function, topic or program
    int32_t status = 0;
    std::string reason;      // empty: not known
    std::string destination; // of a mail
};

struct Activity {
    int64_t servingSince = 0; // milliseconds since 1970
    Tallies functions;
    Tallies topics;
    Tally mails;   // each destination's
    Tally generic; // generic mails, with or without a caller that waits
    Tally relay;   // runs of msmtp, each one attempt at a mail
    Tally traps;   // runs of snmptrap that could be started
    Failure last;
};

// Why the work of a thread failed.
struct WorkOutcome {
    std::string reason;         // of what is no mail; empty: none, or not known
    std::vector<Failure> mails; // those that failed, at most FAILED_MAILS
};
inline constexpr size_t FAILED_MAILS = 8;

// Any thread may call all of these.
void noteServing();
// Around a handler or the callbacks of a topic, on its thread. name: one of those
// that are served, so that there are only so many.
void noteBegin(Work work, std::string_view name);
WorkOutcome noteEnd(Work work, std::string_view name, int32_t status);
// After a command. status: 0 if it succeeded; reason without secrets.
void noteCommand(const std::string& program, bool started, int32_t status,
                 const std::string& reason);
// After a log line of pm's operations, with the errno of that moment. Gives what else
// is to be logged as an error, or an empty text.
std::string noteLogLine(std::string_view line, int error);

Activity activity();

} // namespace pm::host
