#include "pmctl/exchange.h"

#include <cstdio>
#include <sys/un.h>

#include "platform/client/printable.h"
#include "pmctl/statuses.h"

namespace {

constexpr const char* WHERE_TO_LOOK =
    "pmctl: the reason is in pm's log (journalctl -t pm, or pm's standard error); "
    "\"pm -debug\" logs each step\n";

int tellStatus(std::string_view name, int32_t status) {
    std::fprintf(stderr, "pmctl: %.*s: status %d: %s\n%s", static_cast<int>(name.size()),
                 name.data(), status, statusMeaning(name, status), WHERE_TO_LOOK);
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
    std::fprintf(stderr, "pmctl: refused: %s\n", escapeControls(text).c_str());
    return EXIT_FAILED;
}

} // namespace

int wrongUse(const std::string& text) {
    std::fprintf(stderr, "pmctl: %s\n", text.c_str());
    return EXIT_WRONG_USE;
}

std::string runFolder(const Options& options) {
    std::string folder = options.root;
    while (folder.ends_with('/'))
        folder.pop_back();
    return folder + "/run/pm";
}

std::chrono::milliseconds timeLimit(const Options& options) {
    return std::chrono::milliseconds(static_cast<int64_t>(options.timeout * 1000));
}

int tellNotAnswered(const Options& options, Outcome outcome) {
    const std::string folder = runFolder(options);
    switch (outcome) {
    case Outcome::NotReached:
        std::fprintf(stderr,
                     "pmctl: no pm is reached in %s; is it running, with this root, and may you "
                     "enter the folder?\n",
                     folder.c_str());
        break;
    case Outcome::Lost:
        std::fprintf(stderr, "pmctl: pm ended before it answered\n");
        break;
    case Outcome::TimedOut:
        std::fprintf(stderr, "pmctl: pm in %s gave no answer within %g s; it may still do it\n",
                     folder.c_str(), options.timeout);
        break;
    case Outcome::NoMemory:
    case Outcome::Answered:
        std::fprintf(stderr, "pmctl: there is no memory for the request\n");
        break;
    }
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
