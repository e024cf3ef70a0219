#include "platform/host/replies.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <malloc.h>
#include <new>

#include "platform/host/accept.h"
#include "platform/host/server.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

constexpr size_t FIRST_DELAY = 10; // milliseconds; doubled after each try that sends nothing
constexpr size_t LONGEST_DELAY = 640;

size_t bytesOf(Frames& frames) {
    size_t bytes = 0;
    for (Frame& frame : frames)
        bytes += sizeof frame + frame.size();
    return bytes;
}

using Place = std::map<std::string, KeptReplies>::iterator;

Place forget(Replies& replies, Place place) {
    replies.bytes -= place->second.bytes;
    return replies.kept.erase(place);
}

void cutSlowest(Replies& replies) {
    const auto slowest = std::ranges::max_element(
        replies.kept, {}, [](const auto& entry) { return entry.second.bytes; });
    mirlog_printf(
        PM_LEVEL_ERROR, PM_MODULE_SERVICE,
        "a caller does not read its replies: its connection is closed, and %zu replies are dropped",
        slowest->second.replies.size());
    cutConnection(slowest->second.connection);
    forget(replies, slowest);
}

int sendKept(zloop_t* loop, int timer, void* server);

void startTimer(Server& server) {
    if (!server.replies.timed)
        server.replies.timed =
            zloop_timer(server.loop, server.replies.delay, 1, sendKept, &server) != -1;
}

void keep(Server& server, Frames& frames, int connection) {
    Replies& replies = server.replies;
    KeptReplies& kept = replies.kept[std::string(frames.front().view())];
    const size_t bytes = bytesOf(frames);
    kept.replies.push_back(std::move(frames));
    kept.bytes += bytes;
    kept.connection = connection;
    replies.bytes += bytes;
    while (replies.bytes > KEPT_REPLIES_LIMIT)
        cutSlowest(replies);
    if (!replies.timed)
        replies.delay = FIRST_DELAY;
    startTimer(server);
}

// True if the reply was sent, or can never be because the caller is gone.
bool sent(void* socket, Frames& frames) {
    return sendFrames(socket, frames) || errno != EAGAIN;
}

// Sends as many kept replies as the connections take. Returns whether any was sent.
bool sendToAll(Server& server) {
    bool any = false;
    Replies& replies = server.replies;
    for (auto place = replies.kept.begin(); place != replies.kept.end();) {
        KeptReplies& kept = place->second;
        while (!kept.replies.empty()) {
            const size_t bytes = bytesOf(kept.replies.front());
            if (!sent(server.requests, kept.replies.front()))
                break;
            any = true;
            kept.bytes -= bytes;
            replies.bytes -= bytes;
            kept.replies.pop_front();
        }
        place = kept.replies.empty() ? forget(replies, place) : std::next(place);
    }
    return any;
}

int sendKept(zloop_t*, int, void* argument) {
    Server& server = *static_cast<Server*>(argument);
    Replies& replies = server.replies;
    replies.timed = false;
    replies.delay = sendToAll(server) ? FIRST_DELAY : std::min(2 * replies.delay, LONGEST_DELAY);
    if (!replies.kept.empty())
        startTimer(server);
    else
        malloc_trim(0); // thousands of small blocks leave the heap large
    return 0;
}

void encodeAndSend(Server& server, OutgoingReply& outgoing) {
    Frames frames;
    Caller& caller = outgoing.caller;
    frames.reserve(outgoing.reply.fields.size() + 4);
    frames.push_back(std::move(caller.identity));
    encodeReply(outgoing.reply, std::move(caller.tag), frames);
    if (!std::ranges::all_of(frames, &Frame::valid)) {
        caller.identity = std::move(frames[0]);
        caller.tag = std::move(frames[2]);
        throw std::bad_alloc();
    }
    const bool othersWait = server.replies.kept.contains(std::string(frames.front().view()));
    if (othersWait || !sent(server.requests, frames))
        keep(server, frames, caller.connection);
}

} // namespace

void sendReply(Server& server, OutgoingReply& outgoing) {
    try {
        encodeAndSend(server, outgoing);
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "a reply is lost: %s", exception.what());
        refuseWithoutMemory(server, outgoing.caller);
    }
}

void refuseWithoutMemory(Server& server, Caller& caller) {
    // libzmq stores frames as short as these without allocating.
    Frame frames[] = {std::move(caller.identity), Frame(WIRE_VERSION),
                      std::move(caller.tag),      Frame("refused"),
                      Frame("no-memory"),         Frame("pm is out of memory")};
    caller.waits = false;
    if (frames[0].size() != 0)
        sendFrames(server.requests, frames);
}

} // namespace pm::host
