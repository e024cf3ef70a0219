// What pm has done since it serves: counted here, told by the verb "status".
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

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
    std::string reason; // what a command said or how it failed, if one was the cause
};

struct Activity {
    int64_t servingSince = 0; // milliseconds since 1970
    Tallies functions;
    Tallies topics;
    Tally relay; // runs of msmtp, each one attempt at a mail
    Tally traps; // runs of snmptrap that could be started
    Failure last;
};

// Any thread may call all of these.
void noteServing();
// Around a handler or the callbacks of a topic, on its thread. name: one of those
// that are served, so that there are only so many.
void noteBegin(Work work, std::string_view name);
void noteEnd(Work work, std::string_view name, int32_t status);
// Behind a command. status: 0 if it succeeded; reason without secrets.
void noteCommand(const std::string& program, bool started, int32_t status,
                 const std::string& reason);

Activity activity();

} // namespace pm::host
