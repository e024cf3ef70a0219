// Replies on their way out. One that its caller's connection does not take now is kept,
// up to a bound, and sent again later; all of it on the loop's thread.
#pragma once

#include <cstddef>
#include <czmq.h>
#include <deque>
#include <map>
#include <string>

#include "platform/host/outbox.h"

namespace pm::host {

// Of all callers together. Beyond that, the caller of which most is kept loses it, and
// its connection.
inline constexpr size_t KEPT_REPLIES_LIMIT = size_t{64} << 20U;

struct KeptReplies {
    std::deque<client::Frames> replies; // in order
    size_t bytes = 0;
    int connection = -1;
};

struct Server;
struct Replies {
    std::map<std::string, KeptReplies> kept; // by the identity of the caller's connection
    size_t bytes = 0;
    bool timed = false; // a timer runs
    size_t delay = 0;   // of the timer, in milliseconds
};

// Nothing of these throws.
void sendReply(Server& server, OutgoingReply& outgoing);
// For a caller that waits: a refusal that takes no memory.
void refuseWithoutMemory(Server& server, Caller& caller);

} // namespace pm::host
