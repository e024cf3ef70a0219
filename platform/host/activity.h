// Counts the work that pm has done since its start, and keeps the reasons of failures, for
// the verb "status" and for replies.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace pm::host {

enum class Work : uint8_t { Function, Topic };

struct Tally {
    uint64_t done = 0; // includes the failed ones
    uint64_t failed = 0;
    uint64_t running = 0;
};
using Tallies = std::map<std::string, Tally, std::less<>>;

struct Failure {
    int64_t milliseconds = 0; // since 1970; 0: no failure yet
    std::string name;         // function, topic or program
    int32_t status = 0;
    std::string reason;      // empty if unknown
    std::string destination; // of a mail
};

struct Activity {
    int64_t servingSince = 0; // milliseconds since 1970
    Tallies functions;
    Tallies topics;
    Tally mails;   // one for each destination
    Tally generic; // generic mails, whether or not the caller waits
    Tally relay;   // runs of msmtp; each is one attempt to send a mail
    Tally traps;   // runs of snmptrap; a failed start is not counted
    Failure last;
};

// Why the work of a thread failed.
struct WorkOutcome {
    std::string reason;         // if no mail was involved; empty if unknown
    std::vector<Failure> mails; // the first FAILED_MAILS mails that failed
};
inline constexpr size_t FAILED_MAILS = 8;

// All of these may be called on any thread.
void noteServing();
// Call both around a handler or a topic's callbacks, on the thread that runs them. name: of a
// registered function or topic, never a caller's text; each name takes memory for good.
void noteBegin(Work work, std::string_view name);
WorkOutcome noteEnd(Work work, std::string_view name, int32_t status);
// Call after each command. status: 0 on success; reason: without secrets.
void noteCommand(const std::string& program, bool started, int32_t status,
                 const std::string& reason);
// Call for each log line of pm's operations, with errno as it was then. Returns a reason to
// log as an error, or an empty text.
std::string noteLogLine(std::string_view line, int error);

Activity activity();

} // namespace pm::host
