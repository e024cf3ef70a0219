// What goes out through the loop: its sockets belong to the loop's thread, so that
// every other thread leaves its replies and events here.
#pragma once

#include <string>
#include <vector>

#include "platform/client/fd.h"
#include "platform/client/wire.h"

namespace pm::host {

// Who waits for a reply.
struct Caller {
    client::Frame identity; // of its connection
    client::Frame tag;
    bool waits = false;
    int connection = -1; // its descriptor
};

struct OutgoingReply {
    Caller caller;
    client::Reply reply;
};
struct Outgoing {
    std::vector<OutgoingReply> replies;
    std::vector<std::string> events; // names
};

// Gives the descriptor that becomes readable when something is left here; it
// stays the outbox's. -1: errno tells why.
int openOutbox();
void closeOutbox();

// Any thread. The caller waits no longer afterwards, but if it throws; one that does not
// wait is left alone. Without an open outbox nothing is sent.
void leaveReply(Caller& caller, client::Reply reply);
// False: nobody could take it.
bool leaveEvent(std::string name);
void wakeLoop();

// Loop's thread: takes all that was left, and clears the descriptor.
Outgoing takeOutgoing();

} // namespace pm::host
