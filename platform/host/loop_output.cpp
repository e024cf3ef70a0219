// Sends replies, events and log lines on the loop's thread, and starts to serve.
#include <exception>
#include <systemd/sd-daemon.h>

#include "platform/events.h"
#include "platform/host/activity.h"
#include "platform/host/guard.h"
#include "platform/host/kept_log.h"
#include "platform/host/server.h"
#include "platform/host/start_pages.h"
#include "platform/host/start_steps.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

void sendToListeners(const Server& server, std::string_view subscription, std::string_view kind,
                     std::string_view text) {
    Frames frames;
    for (const std::string_view part : {subscription, kind, text})
        frames.emplace_back(part);
    sendFrames(server.events, frames);
}

void sendLogLines(Server& server) {
    if (!logIsFollowed())
        return;
    const std::string lines = keptLinesAfter(server.sentLine);
    for (size_t start = 0, end = 0; (end = lines.find('\n', start)) != std::string::npos;
         start = end + 1)
        sendToListeners(server, LOG_SUBSCRIPTION, "line",
                        std::string_view(lines).substr(start, end - start));
}

// Handles a message of the events socket: byte 1 and the text of a new subscription, or
// byte 0 and the text of one that no listener has any longer.
void handleSubscription(Server& server, std::string_view message) {
    const bool begins = message.starts_with('\1');
    const bool log = !message.empty() && message.substr(1) == LOG_SUBSCRIPTION;
    if (log && begins != logIsFollowed()) {
        followLog(begins);
        server.sentLine = newestLine();
    }
    if (begins)
        sendToListeners(server, log ? LOG_SUBSCRIPTION : WIRE_VERSION, "subscribed", "");
}

void serveWhenStarted(Server& server) {
    if (server.serving || !startIsDone())
        return;
    zmq_pollitem_t item = {server.requests, 0, ZMQ_POLLIN, 0};
    server.serving = zloop_poller(server.loop, &item, readRequests, &server) == 0;
    if (!server.serving)
        return;
    noteServing();
    sd_notify(0, "READY=1");
    giveBackStartPages();
}

} // namespace

int sendOutbox(zloop_t*, zmq_pollitem_t*, void* argument) {
    Server& server = *static_cast<Server*>(argument);
    Outgoing outgoing = takeOutgoing();
    for (OutgoingReply& reply : outgoing.replies)
        sendReply(server, reply);
    serveWhenStarted(server);
    return guarded("sending events and log lines", 0, [&] {
        for (const std::string& name : outgoing.events)
            sendToListeners(server, WIRE_VERSION, "event", name);
        sendLogLines(server);
        return 0;
    });
}

int confirmSubscriptions(zloop_t*, zmq_pollitem_t*, void* argument) {
    Server& server = *static_cast<Server*>(argument);
    return guarded("greeting a listener", 0, [&] {
        Frames frames;
        frames.reserve(1);
        Received received = Received::Whole;
        while ((received = receiveFrames(server.events, 1, frames)) != Received::Nothing)
            if (received == Received::Whole)
                handleSubscription(server, frames[0].view());
        return 0;
    });
}

extern "C" int vesk_event_occurred(const char* name, uint64_t, uint64_t) {
    try {
        if (name != nullptr && queueEvent(name))
            return 0;
    } catch (const std::exception&) {
        name = name == nullptr ? "" : name;
    }
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "event %s is lost: it cannot be sent now",
                  name == nullptr ? "without a name" : name);
    return -1;
}

} // namespace pm::host
