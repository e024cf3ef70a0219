// The distribution client of this process: its loop and the sockets on it.
#pragma once

#include <czmq.h>

#include "platform/distribution.h"
#include "platform/host/function_registry.h"

namespace pm::host {

struct Server {
    qornc_context context{}; // what pm sees; the rest is behind it
    zloop_t* loop = nullptr;
    void* requests = nullptr; // ROUTER: requests in, replies out
    void* events = nullptr;   // XPUB: events that pm raises
    FunctionManager* functions = nullptr;
    const qornc_service_name* name = nullptr; // of this service; its owner keeps it
    bool serving = false;
    uint64_t sentLine = 0; // the last log line that went to who follows the log
};

// Handlers of the loop, which hand over the server as their last argument.

// Reads the requests that have come. Begins to be called when the settings are
// loaded; what comes earlier waits in the socket.
int takeRequests(zloop_t* loop, zmq_pollitem_t* item, void* server);

// Sends what other threads have left in the outbox and the log lines that somebody
// follows, and begins to serve as soon as the settings are loaded.
int takeOutbox(zloop_t* loop, zmq_pollitem_t* item, void* server);

// Tells a new listener that its subscription stands.
int takeSubscriptions(zloop_t* loop, zmq_pollitem_t* item, void* server);

} // namespace pm::host
