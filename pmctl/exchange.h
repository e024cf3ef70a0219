// Sends requests to pm; prints failures on standard error and returns exit statuses.
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
    EXIT_WRONG_USE = 2,   // nothing was sent
    EXIT_NOT_REACHED = 3, // no connection, or no answer in time
};

// Prints "pmctl: TEXT" on standard error; returns EXIT_WRONG_USE.
int wrongUse(const std::string& text);

// Returns the path below the root. path: without a leading "/".
std::string belowRoot(const Options& options, std::string_view path);
std::string runFolder(const Options& options);
std::chrono::milliseconds timeLimit(const Options& options);

// Prints why no answer came; returns EXIT_NOT_REACHED.
int printNotAnswered(const Options& options, client::Outcome outcome);
// Subscribes and calls handle(kind, text) for each message; reconnects whenever pm restarts.
// Calls begin each time the subscription is active. Ends, with an exit status, when begin
// returns false or standard output is closed.
int listenOn(const Options& options, std::string_view subscription,
             const std::function<bool()>& begin,
             const std::function<void(std::string_view, std::string_view)>& handle);

// Sends a request and waits for the reply. Returns an exit status; unless it is EXIT_DONE, the
// reason has been printed: not reached, refused, or a status other than 0 with its meaning.
int ask(const Options& options, const client::Request& request, client::Reply& reply);
int ask(const Options& options, const client::Request& request);

// A key's value in force, escaped for a terminal; "?" if pm does not return it.
std::string valueOf(const Options& options, const std::string& key);

// Call after a request to mail to all enabled destinations, with its exit status. Without a
// destination that is enabled and has an address, pm reports success: prints that no mail was
// sent. Returns the status.
int reportNoDestination(const Options& options, int status);

// Calls a named function; record: its bytes, sent unchanged. Returns an exit status as ask().
int callFunction(const Options& options, const std::string& function, std::string_view record);
template <typename Record>
int callFunctionWith(const Options& options, const std::string& function, const Record& record) {
    return callFunction(options, function, {reinterpret_cast<const char*>(&record), sizeof record});
}

} // namespace pm::ctl
