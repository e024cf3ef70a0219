// The distribution client of this process: its loop and the sockets on it.
#pragma once

#include <czmq.h>

#include "platform/distribution.h"
#include "platform/host/function_registry.h"
#include "platform/host/replies.h"

namespace pm::host {

struct Server {
    qornc_context context{}; // what pm sees; the rest is behind it
    zloop_t* loop = nullptr;
    void* requests = nullptr; // ROUTER: requests in, replies out
    void* events = nullptr;   // XPUB: events that pm raises
    client::Frames incoming;  // of the request that is read; room for all it may have
    Replies replies;
    FunctionManager* functions = nullptr;
    const qornc_service_name* name = nullptr; // of this service; its owner keeps it
    bool serving = false;
    bool draining = false; // no new work is taken
    uint64_t sentLine = 0; // the last log line that went to who follows the log
};

// Handlers of the loop, which hand over the server as their last argument. Nothing is
// thrown through the loop, which is C.

// Reads the requests that have come. Begins to be called when pm is done with its
// start; what comes earlier waits in the socket.
int takeRequests(zloop_t* loop, zmq_pollitem_t* item, void* server);

// Sends what other threads have left in the outbox and the log lines that somebody
// follows, and begins to serve as soon as pm is done with its start.
int takeOutbox(zloop_t* loop, zmq_pollitem_t* item, void* server);

// Tells a new listener that its subscription stands.
int takeSubscriptions(zloop_t* loop, zmq_pollitem_t* item, void* server);

} // namespace pm::host
