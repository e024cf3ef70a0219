// qornc_initialize and qornc_destroy: open and close pm's sockets, loop and queues.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "common/signals.h"
#include "platform/host/accept.h"
#include "platform/host/delivery.h"
#include "platform/host/root.h"
#include "platform/host/server.h"
#include "platform/host/socket_group.h"
#include "platform/host/start_steps.h"
#include "platform/host/store.h"
#include "platform/host/subscriptions.h"
#include "platform/host/threads.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

constexpr const char* RUN_FOLDER = "run/pm";
constexpr size_t SCHEME_LENGTH = 6; // "ipc://"

// For each connection: messages that the loop has not read yet, and replies that the caller
// has not read. pm keeps further replies itself.
constexpr int UNREAD_MESSAGES = 16;
constexpr int UNSENT_REPLIES = 128;
constexpr int CONNECTIONS_AT_ONCE = 512;

std::atomic<bool> initialised{false};

bool otherThreadsRun() {
    struct stat state {};
    constexpr nlink_t NAMES_OF_FOLDER = 2; // "." and ".."; each thread adds one
    return stat("/proc/self/task", &state) != 0 || state.st_nlink > NAMES_OF_FOLDER + 1;
}

// Runs before CZMQ's exit handler, which would wait for sockets that other threads use and
// could abort, and before statics are destroyed that those threads use.
void leaveAtOnce(int status, void*) {
    if (!otherThreadsRun())
        return;
    std::fflush(stdout);
    _exit(status);
}

// One arena for all threads, and large blocks returned to the system: pm mostly waits, and
// should hold little memory meanwhile.
void keepHeapSmall() {
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024);
}

void setOption(void* socket, int option, int value) {
    zmq_setsockopt(socket, option, &value, sizeof value);
}

// Returns a socket bound to the endpoint, or null after an error line.
void* bindSocket(void* zmq, int type, const std::string& endpoint) {
    const char* path = endpoint.c_str() + SCHEME_LENGTH;
    if (std::strlen(path) >= sizeof(sockaddr_un::sun_path)) {
        mirlog_printf(
            PM_LEVEL_FATAL, PM_MODULE_SERVICE,
            "%s: the path has %zu bytes, a socket path can have at most 107; use a shorter root",
            path, std::strlen(path));
        return nullptr;
    }
    void* socket = zmq_socket(zmq, type);
    if (socket == nullptr)
        return nullptr;
    setOption(socket, ZMQ_LINGER, 0);
    setOption(socket, ZMQ_RCVHWM, UNREAD_MESSAGES);
    setOption(socket, ZMQ_BACKLOG, CONNECTIONS_AT_ONCE);
    const int64_t limit = TRANSPORT_LIMIT;
    zmq_setsockopt(socket, ZMQ_MAXMSGSIZE, &limit, sizeof limit);
    if (type == ZMQ_ROUTER) {
        setOption(socket, ZMQ_SNDHWM, UNSENT_REPLIES);
        setOption(socket, ZMQ_ROUTER_MANDATORY, 1); // sending fails if the caller cannot get it
    }
    if (type == ZMQ_XPUB)
        setOption(socket, ZMQ_XPUB_VERBOSE, 1); // reports every subscription, to confirm it
    if (zmq_bind(socket, endpoint.c_str()) == 0)
        return socket;
    mirlog_printf(PM_LEVEL_FATAL, PM_MODULE_SERVICE, "%s: cannot be bound: %s", path,
                  zmq_strerror(zmq_errno()));
    zmq_close(socket);
    return nullptr;
}

void* startZeromq() {
    // pm handles signals itself; CZMQ's handlers must not replace its own.
    zsys_handler_set(nullptr);
    openSpareDescriptor();
    const SignalsBlocked blocked;
    void* zmq = zsys_init();
    static const bool hooked = on_exit(leaveAtOnce, nullptr) == 0;
    return hooked ? zmq : nullptr;
}

bool openSockets(Server& server, void* zmq) {
    const SignalsBlocked blocked; // the first socket starts libzmq's threads, which inherit it
    const std::string folder = hostPath(RUN_FOLDER);
    server.requests = bindSocket(zmq, ZMQ_ROUTER, requestEndpoint(folder));
    if (server.requests != nullptr)
        server.events = bindSocket(zmq, ZMQ_XPUB, eventsEndpoint(folder));
    return server.events != nullptr;
}

bool openLoop(Server& server) {
    const int wake = openOutbox();
    server.loop = zloop_new();
    if (wake < 0 || server.loop == nullptr)
        return false;
    zmq_pollitem_t outbox = {nullptr, wake, ZMQ_POLLIN, 0};
    zmq_pollitem_t listeners = {server.events, 0, ZMQ_POLLIN, 0};
    return zloop_poller(server.loop, &outbox, sendOutbox, &server) == 0 &&
           zloop_poller(server.loop, &listeners, confirmSubscriptions, &server) == 0;
}

void closeServer(Server* server) {
    setStartDoneHook(nullptr);
    setAttributeChangeHook(nullptr);
    stopDelivery();
    setEventTable(nullptr);
    if (server->loop != nullptr)
        zloop_destroy(&server->loop);
    closeOutbox();
    for (void* socket : {server->requests, server->events})
        if (socket != nullptr)
            zmq_close(socket);
    if (server->functions != nullptr)
        destroyFunctionManager(server->functions);
    delete server;
    zsys_shutdown();
    initialised = false;
}

bool openServer(Server& server, const qornc_init_record& record) {
    keepHeapSmall();
    void* zmq = startZeromq();
    if (zmq == nullptr || !openSockets(server, zmq) || !openLoop(server))
        return false;
    server.incoming.reserve(FRAME_LIMIT); // so that reading a request needs no memory for it
    server.functions = createFunctionManager();
    server.name = record.service;
    setEventTable(record.events);
    if (!startDelivery(record.events))
        return false;
    openSocketsToGroup();
    setAttributeChangeHook(attributeChanged);
    setStartDoneHook(wakeLoop);
    server.context.manager = server.functions;
    server.context.loop = server.loop;
    return true;
}

} // namespace

extern "C" int qornc_initialize(qornc_context** context, const qornc_init_record* record) {
    if (context == nullptr || record == nullptr || initialised.exchange(true))
        return -1;
    Server* server = nullptr;
    bool opened = false;
    try {
        if (claimHost())
            server = new Server;
        opened = server != nullptr && openServer(*server, *record);
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_FATAL, PM_MODULE_SERVICE, "the client can't start: %s",
                      exception.what());
    }
    if (opened) {
        *context = &server->context;
        return 0;
    }
    if (server != nullptr)
        closeServer(server);
    initialised = false;
    return -1;
}

extern "C" void qornc_destroy(qornc_context* context) {
    if (context != nullptr)
        closeServer(reinterpret_cast<Server*>(context)); // its first member
}

} // namespace pm::host
