// The talk with pm, and what becomes of it on standard error and as exit status.
#pragma once

#include <functional>
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
// Listens to what pm raises until nobody reads standard output or begin gives false;
// a pm that ends is waited for. begin is called when a subscription is active, take
// with the kind and the text of each message that follows. Gives the exit status.
int listenOn(const Options& options, std::string_view subscription,
             const std::function<bool()>& begin,
             const std::function<void(std::string_view, std::string_view)>& take);

// Asks pm. On anything but EXIT_DONE the reason has been told: not reached,
// refused, or a status that is not 0, with its meaning for that function (of a
// "call") or topic.
int ask(const Options& options, const client::Request& request, client::Reply& reply);
int ask(const Options& options, const client::Request& request);

// A key's value in force, printable; "?" if pm does not tell it.
std::string valueOf(const Options& options, const std::string& key);

// The same for a named function's record, whose bytes are taken as they stand.
int callFunction(const Options& options, const std::string& function, std::string_view record);
template <typename Record>
int callFunctionWith(const Options& options, const std::string& function, const Record& record) {
    return callFunction(options, function, {reinterpret_cast<const char*>(&record), sizeof record});
}

} // namespace pm::ctl
