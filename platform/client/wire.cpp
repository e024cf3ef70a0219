#include "platform/client/wire.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/client/schema.h"

namespace pm::client {

namespace {

constexpr std::array<std::string_view, 3> REPLY_KINDS = {"done", "status", "refused"};

std::string endpoint(std::string_view runFolder, std::string_view name) {
    return std::string("ipc://").append(runFolder).append("/").append(name);
}

} // namespace

std::string requestEndpoint(std::string_view runFolder) {
    return endpoint(runFolder, "requests");
}

std::string eventsEndpoint(std::string_view runFolder) {
    return endpoint(runFolder, "events");
}

Frame::Frame(std::string_view text) : Frame(text.size()) {
    if (m_valid && !text.empty())
        std::memcpy(data(), text.data(), text.size());
}

Received receiveFrames(void* socket, size_t frameLimit, Frames& frames) {
    frames.clear();
    size_t bytes = 0;
    size_t count = 0;
    for (bool more = true; more; ++count) {
        Frame frame;
        if (zmq_msg_recv(frame.message(), socket, ZMQ_DONTWAIT) < 0)
            return Received::Nothing; // ZeroMQ delivers all frames of a message at once
        more = zmq_msg_more(frame.message()) != 0;
        bytes += frame.size();
        if (bytes <= MESSAGE_LIMIT && count < frameLimit)
            frames.push_back(std::move(frame));
    }
    if (bytes > MESSAGE_LIMIT)
        return Received::TooLarge;
    return count > frameLimit ? Received::TooManyFrames : Received::Whole;
}

bool sendFrames(void* socket, std::span<Frame> frames) {
    // A message of which a part is missing would go on with the next one's frames.
    if (!std::ranges::all_of(frames, &Frame::valid)) {
        errno = ENOMEM;
        return false;
    }
    for (Frame& frame : frames) {
        const int more = &frame != &frames.back() ? ZMQ_SNDMORE : 0;
        if (zmq_msg_send(frame.message(), socket, ZMQ_DONTWAIT | more) < 0)
            return false; // only the first frame can be refused with EAGAIN
    }
    return true;
}

size_t messageSize(const Request& request) {
    size_t size = WIRE_VERSION.size() + TAG_LIMIT + request.verb.size();
    for (const std::string& argument : request.arguments)
        size += argument.size();
    return size + (request.payload ? request.payload->size() : 0);
}

Frames encodeRequest(const Request& request, std::string_view tag) {
    Frames frames;
    frames.emplace_back(WIRE_VERSION);
    frames.emplace_back(tag);
    frames.emplace_back(std::string_view(request.verb));
    for (const std::string& argument : request.arguments)
        frames.emplace_back(std::string_view(argument));
    if (request.payload)
        frames.emplace_back(*request.payload);
    return frames;
}

Reply statusReply(int32_t status) {
    return {ReplyKind::Status, {std::to_string(status)}};
}

Reply refusal(std::string_view code, std::string_view text) {
    return {ReplyKind::Refused, {std::string(code), std::string(text)}};
}

std::optional<int32_t> replyStatus(const Reply& reply) {
    if (reply.kind != ReplyKind::Status || reply.fields.empty())
        return std::nullopt;
    return wholeNumber(reply.fields.front());
}

void encodeReply(const Reply& reply, Frame tag, Frames& frames) {
    frames.emplace_back(WIRE_VERSION);
    frames.push_back(std::move(tag));
    frames.emplace_back(REPLY_KINDS[static_cast<size_t>(reply.kind)]);
    for (const std::string& field : reply.fields)
        frames.emplace_back(std::string_view(field));
}

std::optional<Reply> decodeReply(Frames& frames, std::string_view tag) {
    if (frames.size() < 3 || frames[0].view() != WIRE_VERSION || frames[1].view() != tag)
        return std::nullopt;
    Reply reply;
    size_t kind = 0;
    while (kind < REPLY_KINDS.size() && REPLY_KINDS[kind] != frames[2].view())
        ++kind;
    if (kind == REPLY_KINDS.size())
        return std::nullopt;
    reply.kind = static_cast<ReplyKind>(kind);
    for (size_t at = 3; at < frames.size(); ++at)
        reply.fields.emplace_back(frames[at].view());
    return reply;
}

} // namespace pm::client
