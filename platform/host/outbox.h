// Queues replies and events for the loop: only its thread may use the sockets, so all other
// threads queue here what they have to send.
#pragma once

#include <string>
#include <vector>

#include "platform/client/fd.h"
#include "platform/client/wire.h"

namespace pm::host {

// Where to send the reply of a request.
struct Caller {
    client::Frame identity; // of the connection
    client::Frame tag;
    bool waits = false;
    int connection = -1; // descriptor
};

struct OutgoingReply {
    Caller caller;
    client::Reply reply;
};
struct Outgoing {
    std::vector<OutgoingReply> replies;
    std::vector<std::string> events; // names
};

// Returns a descriptor that becomes readable when something is queued; the outbox owns it.
// On failure returns -1 with errno set.
int openOutbox();
void closeOutbox();

// Any thread. Queues a reply and clears caller.waits; does nothing if the caller does not
// wait. Throws if memory is exhausted, and then the caller still waits. Drops the reply while
// the outbox is closed.
void queueReply(Caller& caller, client::Reply reply);
// Any thread. Returns false if the outbox is closed or has 512 events already.
bool queueEvent(std::string name);
void wakeLoop();

// Loop's thread: removes and returns everything queued, and resets the descriptor.
Outgoing takeOutgoing();

} // namespace pm::host
