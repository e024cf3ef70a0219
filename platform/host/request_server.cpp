// Reads the request socket: checks each request, answers quick ones at once, and queues the
// others for the thread that does them.
#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <memory>
#include <utility>

#include "platform/host/accept.h"
#include "platform/host/delivery.h"
#include "platform/host/kept_log.h"
#include "platform/host/server.h"
#include "platform/host/status_report.h"
#include "platform/host/store.h"
#include "platform/host/subscriptions.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

constexpr int MESSAGES_PER_ROUND = 64; // then the loop handles its other sockets
constexpr size_t VALUE_LIMIT = size_t{16} * 1024;

// A received request. Its parts are moved out as they are used.
struct Incoming {
    Server& server;
    Caller caller;
    std::vector<std::string> arguments;
    std::optional<Frame> payload;
};

void refuse(Incoming& request, std::string_view code, std::string_view text) {
    queueReply(request.caller, refusal(code, text));
}

void refuseName(Incoming& request, std::string_view what) {
    refuse(request, "unknown-name",
           "pm serves no " + std::string(what) + " \"" + request.arguments.front() +
               "\"; \"list\" shows what it serves");
}

// With waits, the job replies when it is done; else the caller is answered here.
void queueJob(Incoming& request, WorkQueue& queue, std::unique_ptr<Job> job, bool waits = true) {
    if (request.server.draining)
        return refuse(request, "busy", "pm is being drained and accepts no new work");
    if (waits)
        job->caller = std::exchange(request.caller, {});
    const Pushed pushed = queue.push(job);
    if (pushed == Pushed::Queued)
        return queueReply(request.caller, {ReplyKind::Done, {}});
    if (waits)
        request.caller = std::move(job->caller);
    refuse(request, "busy",
           pushed == Pushed::Full     ? "too many requests are waiting; try again later"
           : pushed == Pushed::NoRoom ? "too many bytes are waiting; try again later"
                                      : "pm is ending");
}

bool makeRequestRecord(Incoming& request, size_t length, bool terminated, Record& record) {
    if (makeRecord(std::move(request.payload), length, terminated, record))
        return true;
    refuse(request, "no-memory", "out of memory for the record");
    return false;
}

void list(Incoming& request) {
    Reply reply{ReplyKind::Done, {}};
    const auto add = [&](const char* kind, const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            reply.fields.emplace_back(kind);
            reply.fields.push_back(name);
        }
    };
    add("function", functionNames(request.server.functions));
    add("topic", servedTopics());
    queueReply(request.caller, std::move(reply));
}

void call(Incoming& request) {
    const std::string& name = request.arguments[0];
    const RegisteredFunction* function = findFunction(request.server.functions, name);
    if (function == nullptr)
        return refuseName(request, "function");
    auto job = std::make_unique<Job>();
    if (!makeRequestRecord(request, requestLength(name), false, job->record))
        return;
    job->run = callFunction;
    job->name = name;
    job->handler = function->handler;
    queueJob(request, *function->queue, std::move(job));
}

void publish(Incoming& request) {
    const std::string& topic = request.arguments[0];
    const bool waits = request.arguments[1] == "wait";
    if (!waits && request.arguments[1] != "no-wait")
        return refuse(request, "malformed", "the second argument must be wait or no-wait");
    auto job = std::make_unique<Job>();
    job->callbacks = subscribersOf(topic);
    if (job->callbacks.empty())
        return refuseName(request, "topic");
    // The callback reads the name up to its terminator, so the record must end with one.
    const bool change = isAttributeChange(topic);
    if (!makeRequestRecord(request, notificationLength(topic), change, job->record))
        return;
    if (change && !nameIsInside(job->record))
        return refuse(request, "malformed", "the name offset is outside the record");
    job->run = deliver;
    job->name = topic;
    queueJob(request, deliveryQueue(topic), std::move(job), waits);
}

void get(Incoming& request) {
    ValueDescription description;
    std::string error;
    if (!describeValue(request.arguments[0], description, error))
        return refuse(request, "unknown-name", error);
    queueReply(
        request.caller,
        {ReplyKind::Done, {description.text, sourceName(description.source), description.name}});
}

// Runs on the settings thread: a write waits for the disk.
void finishWrite(Job& job, bool done, const std::string& error) {
    queueReply(job.caller, done ? Reply{ReplyKind::Done, {}} : refusal("failed", error));
}

void set(Incoming& request) {
    auto job = std::make_unique<Job>();
    job->name = request.arguments[0];
    job->value = request.arguments[1];
    job->run = [](Job& self) {
        std::string error;
        const bool done = setValue(self.name, self.value, error);
        finishWrite(self, done, error);
    };
    queueJob(request, settingsQueue(), std::move(job));
}

void unset(Incoming& request) {
    auto job = std::make_unique<Job>();
    job->name = request.arguments[0];
    job->run = [](Job& self) {
        std::string error;
        const bool done = unsetValue(self.name, error);
        finishWrite(self, done, error);
    };
    queueJob(request, settingsQueue(), std::move(job));
}

// Replies with all lines in one frame, as there may be hundreds.
void log(Incoming& request) {
    std::array<int64_t, 3> numbers = {0, INT64_MAX, 0};
    for (size_t at = 0; at < request.arguments.size(); ++at) {
        const std::string& text = request.arguments[at];
        const char* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, numbers[at]);
        if (error != std::errc() || stop != end || numbers[at] < 0)
            return refuse(request, "malformed",
                          "count, level and time must be whole numbers of at least 0");
    }
    Reply reply{ReplyKind::Done, {}};
    reply.fields.push_back(keptLines({static_cast<size_t>(numbers[0]), numbers[1], numbers[2]}));
    queueReply(request.caller, std::move(reply));
}

void status(Incoming& request) {
    queueReply(request.caller, {ReplyKind::Done, statusReport(request.server)});
}

void drain(Incoming& request) {
    const std::string& word = request.arguments[0];
    if (word != "begin" && word != "cancel")
        return refuse(request, "malformed", "the argument must be begin or cancel");
    request.server.draining = word == "begin";
    queueReply(request.caller, {ReplyKind::Done, drainReport(request.server)});
}

struct RequestVerb {
    std::string_view name;
    size_t arguments;
    size_t optional; // arguments that may follow them
    bool payload;    // may follow as the last frame
    void (*run)(Incoming& request);
    std::string_view form;
};

constexpr std::array<RequestVerb, 9> verbs = {{
    {"list", 0, 0, false, list, "list"},
    {"call", 1, 0, true, call, "call FUNCTION [PAYLOAD]"},
    {"event", 2, 0, true, publish, "event TOPIC wait|no-wait [PAYLOAD]"},
    {"get", 1, 0, false, get, "get KEY"},
    {"set", 2, 0, false, set, "set KEY VALUE"},
    {"unset", 1, 0, false, unset, "unset KEY"},
    {"log", 1, 2, false, log, "log COUNT [LEVEL [SINCE]]"},
    {"status", 0, 0, false, status, "status"},
    {"drain", 1, 0, false, drain, "drain begin|cancel"},
}};

bool isControl(char byte) {
    return static_cast<unsigned char>(byte) < ' ' || byte == 0x7f;
}

// Reads the arguments: a name, then a value, which the store checks. Returns an error or null.
const char* readArguments(Frames& frames, size_t first, size_t count,
                          std::vector<std::string>& arguments) {
    for (size_t at = 0; at < count; ++at) {
        const std::string_view text = frames[first + at].view();
        if (at == 0 && (text.empty() || text.size() > NAME_LIMIT))
            return "a name must have 1 to 255 bytes";
        if (at == 0 && std::ranges::any_of(text, isControl))
            return "a name must not have control characters";
        if (text.size() > VALUE_LIMIT)
            return "the value is too long";
        if (text.find('\0') != std::string_view::npos)
            return "a value must not have zero bytes";
        arguments.emplace_back(text);
    }
    return nullptr;
}

// Positions of the frames in a message.
enum : uint8_t { IDENTITY, VERSION, TAG, VERB, ARGUMENTS };

void dispatch(Frames& frames, Incoming& request) {
    if (frames.size() <= VERB)
        return refuse(request, "malformed", "a request must have a version, a tag and a verb");
    const auto* verb = std::ranges::find(verbs, frames[VERB].view(), &RequestVerb::name);
    if (verb == verbs.end())
        return refuse(request, "unknown-verb", "this pm has no such verb");
    const size_t given = frames.size() - ARGUMENTS;
    const size_t most = verb->arguments + verb->optional;
    if (given < verb->arguments || given > most + (verb->payload ? 1 : 0))
        return refuse(request, "malformed", "expected: " + std::string(verb->form));
    const char* fault = readArguments(frames, ARGUMENTS, std::min(given, most), request.arguments);
    if (fault != nullptr)
        return refuse(request, "malformed", fault);
    if (given > most)
        request.payload = std::move(frames.back());
    verb->run(request);
}

void answer(Server& server, Received received, Frames& frames) {
    if (frames.size() <= VERSION)
        return; // no version: no reply format is known
    Incoming request{server, {}, {}, {}};
    request.caller.waits = true;
    // The identity frame, made by libzmq, does not always name the connection.
    request.caller.connection = zmq_msg_get(frames[VERSION].message(), ZMQ_SRCFD);
    request.caller.identity = std::move(frames[IDENTITY]);
    markConnectionUsed(request.caller.connection);
    const bool tagged = frames.size() > TAG && frames[TAG].size() <= TAG_LIMIT;
    try {
        if (tagged)
            request.caller.tag = Frame(frames[TAG].view());
        if (frames[VERSION].view() != WIRE_VERSION)
            refuse(request, "version", "this pm speaks " + std::string(WIRE_VERSION));
        else if (received == Received::TooLarge)
            refuse(request, "too-large", "a message can have at most 64 MiB");
        else if (received == Received::TooManyFrames || (frames.size() > TAG && !tagged))
            refuse(request, "malformed", "too many frames, or a tag of more than 64 bytes");
        else
            dispatch(frames, request);
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "a request failed: %s", exception.what());
        if (request.caller.waits)
            refuseWithoutMemory(server, request.caller);
    }
}

} // namespace

int readRequests(zloop_t*, zmq_pollitem_t*, void* argument) {
    Server& server = *static_cast<Server*>(argument);
    for (int count = 0; count < MESSAGES_PER_ROUND; ++count) {
        const Received received = receiveFrames(server.requests, FRAME_LIMIT, server.incoming);
        if (received == Received::Nothing)
            break;
        answer(server, received, server.incoming);
    }
    return 0;
}

} // namespace pm::host
