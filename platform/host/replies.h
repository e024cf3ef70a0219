// Sends replies, on the loop's thread. If a connection cannot take one now, keeps it, within
// a limit, and tries again later.
#pragma once

#include <cstddef>
#include <czmq.h>
#include <deque>
#include <map>
#include <string>

#include "platform/host/outbox.h"

namespace pm::host {

// In bytes, for all callers together. Above it, the caller with the most kept bytes loses its
// replies and its connection.
inline constexpr size_t KEPT_REPLIES_LIMIT = size_t{64} << 20U;

struct KeptReplies {
    std::deque<client::Frames> replies; // in order
    size_t bytes = 0;
    int connection = -1;
};

struct Server;
struct Replies {
    std::map<std::string, KeptReplies> kept; // by identity of the connection
    size_t bytes = 0;
    bool timed = false; // a timer is running
    size_t delay = 0;   // of the timer, milliseconds
};

// None of these throws.
void sendReply(Server& server, OutgoingReply& outgoing);
// Refuses a request without allocating memory.
void refuseWithoutMemory(Server& server, Caller& caller);

} // namespace pm::host
