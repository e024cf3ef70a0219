// The talk with pm, and what becomes of it on standard error and as exit status.
#pragma once

#include <string>
#include <string_view>

#include "platform/client/connection.h"
#include "pmctl/options.h"

namespace pm::ctl {

enum ExitStatus : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,      // pm answered with a failure
    EXIT_WRONG_USE = 2,   // pm was not asked
    EXIT_NOT_REACHED = 3, // or no answer in time
};

// "pmctl: ..." on standard error; gives EXIT_WRONG_USE.
int wrongUse(const std::string& text);

// A path below the root, without "/" in front.
std::string belowRoot(const Options& options, std::string_view path);
std::string runFolder(const Options& options);
std::chrono::milliseconds timeLimit(const Options& options);

// Tells why there was no answer; gives EXIT_NOT_REACHED.
int tellNotAnswered(const Options& options, client::Outcome outcome);
// The same where pm was listened to.
int tellEnd(const Options& options, client::Outcome outcome);

// Asks pm. On anything but EXIT_DONE the reason has been told: not reached,
// refused, or a status that is not 0, with its meaning for that function (of a
// "call") or topic.
int ask(const Options& options, const client::Request& request, client::Reply& reply);
int ask(const Options& options, const client::Request& request);

// The same for a named function's record, whose bytes are taken as they stand.
int callFunction(const Options& options, const std::string& function, std::string_view record);
template <typename Record>
int callFunctionWith(const Options& options, const std::string& function, const Record& record) {
    return callFunction(options, function, {reinterpret_cast<const char*>(&record), sizeof record});
}

} // namespace pm::ctl
