// State of the distribution client: the loop, its sockets and what they need.
#pragma once

#include <czmq.h>

#include "platform/distribution.h"
#include "platform/host/function_registry.h"
#include "platform/host/replies.h"

namespace pm::host {

struct Server {
    qornc_context context{}; // first: pm's pointer to it is cast back to Server
    zloop_t* loop = nullptr;
    void* requests = nullptr; // ROUTER: requests in, replies out
    void* events = nullptr;   // XPUB: events that pm raises
    client::Frames incoming;  // the request being read; has room for FRAME_LIMIT frames
    Replies replies;
    FunctionManager* functions = nullptr;
    const qornc_service_name* name = nullptr; // of this service; owned by pm
    bool serving = false;
    bool draining = false; // new work is refused
    uint64_t sentLine = 0; // number of the last log line sent to followers
};

// Handlers of the loop; the last argument is the Server. They do not throw, as the loop is C.

// Reads the waiting requests. Registered once pm's start is done; until then requests wait in
// the socket.
int readRequests(zloop_t* loop, zmq_pollitem_t* item, void* server);

// Sends the replies and events of the outbox and the followed log lines, and starts to serve
// once pm's start is done.
int sendOutbox(zloop_t* loop, zmq_pollitem_t* item, void* server);

// Sends each new subscriber a first message, which confirms its subscription.
int confirmSubscriptions(zloop_t* loop, zmq_pollitem_t* item, void* server);

} // namespace pm::host
