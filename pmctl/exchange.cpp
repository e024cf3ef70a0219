#include "pmctl/exchange.h"

#include <cstdio>
#include <sys/un.h>

#include "platform/client/printable.h"
#include "pmctl/output.h"
#include "pmctl/statuses.h"

namespace pm::ctl {

using namespace client;

namespace {

int tellStatus(std::string_view name, int32_t status) {
    complain("%.*s: status %d: %s", static_cast<int>(name.size()), name.data(), status,
             statusMeaning(name, status));
    std::fprintf(stderr, "pmctl: \"pmctl log\" tells each step and the reason\n");
    return EXIT_FAILED;
}

int tellReply(const Request& request, const Reply& reply) {
    if (reply.kind == ReplyKind::Done)
        return EXIT_DONE;
    if (const auto status = replyStatus(reply)) {
        const std::string& name =
            request.arguments.empty() ? request.verb : request.arguments.front();
        return *status == 0 ? EXIT_DONE : tellStatus(name, *status);
    }
    const std::string text = reply.fields.empty() ? "without a reason" : reply.fields.back();
    complain("refused: %s", escapeControls(text).c_str());
    return EXIT_FAILED;
}

} // namespace

int wrongUse(const std::string& text) {
    complain("%s", text.c_str());
    return EXIT_WRONG_USE;
}

std::string belowRoot(const Options& options, std::string_view path) {
    std::string whole = options.root;
    while (whole.ends_with('/'))
        whole.pop_back();
    return (whole += '/').append(path);
}

std::string runFolder(const Options& options) {
    return belowRoot(options, "run/pm");
}

std::chrono::milliseconds timeLimit(const Options& options) {
    return std::chrono::milliseconds(static_cast<int64_t>(options.timeout * 1000));
}

int tellNotAnswered(const Options& options, Outcome outcome) {
    const std::string folder = runFolder(options);
    switch (outcome) {
    case Outcome::NotReached:
        complain("no pm is reached in %s; is it running, with this root, and may you enter the "
                 "folder?",
                 folder.c_str());
        break;
    case Outcome::Lost:
        complain("pm ended before it answered");
        break;
    case Outcome::TimedOut:
        complain("pm in %s gave no answer within %g s; it may still do it", folder.c_str(),
                 options.timeout);
        break;
    case Outcome::NoMemory:
    case Outcome::Answered:
        complain("there is no memory for the request");
        break;
    }
    return EXIT_NOT_REACHED;
}

int tellEnd(const Options& options, Outcome outcome) {
    if (outcome != Outcome::Lost)
        return tellNotAnswered(options, outcome);
    complain("pm has ended");
    return EXIT_NOT_REACHED;
}

int ask(const Options& options, const Request& request, Reply& reply) {
    if (messageSize(request) > MESSAGE_LIMIT)
        return wrongUse("a request has at most 64 MiB, this one has " +
                        std::to_string(messageSize(request)) + " bytes");
    const std::string endpoint = requestEndpoint(runFolder(options));
    if (endpoint.size() - std::string_view("ipc://").size() >= sizeof(sockaddr_un::sun_path))
        return wrongUse("the root is too long: a socket's path has at most 107 bytes: " + endpoint);
    Connection connection(endpoint);
    const Outcome outcome = connection.request(request, timeLimit(options), reply);
    return outcome == Outcome::Answered ? tellReply(request, reply)
                                        : tellNotAnswered(options, outcome);
}

int ask(const Options& options, const Request& request) {
    Reply reply;
    return ask(options, request, reply);
}

int callFunction(const Options& options, const std::string& function, std::string_view record) {
    return ask(options, {"call", {function}, record});
}

} // namespace pm::ctl
