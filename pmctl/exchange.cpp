#include "pmctl/exchange.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <grp.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "platform/client/printable.h"
#include "platform/client/schema.h"
#include "platform/client/settings_file.h"
#include "pmctl/checks.h"
#include "pmctl/output.h"
#include "pmctl/statuses.h"

namespace pm::ctl {

using namespace client;

namespace {

struct FailedMail {
    std::string destination;
    int32_t status = 0;
    std::string reason;
};

// The reasons after the status in a reply.
struct Failures {
    std::string reason;
    std::vector<FailedMail> mails;
};

Failures failuresIn(const Reply& reply) {
    Failures failures;
    for (size_t at = 1; at + 1 < reply.fields.size(); at += 2) {
        const std::string& item = reply.fields[at];
        const std::string value = escapeControls(reply.fields[at + 1]);
        if (item == "destination")
            failures.mails.push_back({value, 0, {}});
        else if (item == "status" && !failures.mails.empty())
            failures.mails.back().status = wholeNumber(value).value_or(0);
        else if (item == "reason")
            (failures.mails.empty() ? failures.reason : failures.mails.back().reason) = value;
    }
    return failures;
}

void printFailedMail(std::string_view name, const FailedMail& mail) {
    complain("the mail%s%s failed, status %d: %s", mail.destination.empty() ? "" : " to ",
             mail.destination.c_str(), mail.status,
             mail.reason.empty() ? statusMeaning(name, mail.status) : mail.reason.c_str());
}

// Status 0 does not mean success: it is the status of the last mail only, and a trap has it
// once snmptrap was run.
int printFailedStatus(const std::string& name, int32_t status, const Reply& reply) {
    const Failures failures = failuresIn(reply);
    for (const FailedMail& mail : failures.mails)
        printFailedMail(name, mail);
    if (status == 0 && failures.mails.empty() && failures.reason.empty())
        return EXIT_DONE;
    if (status == 0 && !failures.reason.empty())
        complain("%s: %s", name.c_str(), failures.reason.c_str());
    else if (failures.mails.empty())
        complain("%s: status %d: %s", name.c_str(), status,
                 failures.reason.empty() ? statusMeaning(name, status) : failures.reason.c_str());
    std::fprintf(stderr, "pmctl: \"pmctl log\" shows each step\n");
    return EXIT_FAILED;
}

int reportReply(const Request& request, const Reply& reply) {
    if (reply.kind == ReplyKind::Done)
        return EXIT_DONE;
    if (const auto status = replyStatus(reply))
        return printFailedStatus(
            request.arguments.empty() ? request.verb : request.arguments.front(), *status, reply);
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

namespace {

// ", or as a member of the group NAME", if the folder is open to one.
std::string orAsMember(const std::string& folder) {
    struct stat state {};
    if (::stat(folder.c_str(), &state) != 0 || (state.st_mode & S_IXGRP) == 0)
        return {};
    const group* entry = ::getgrgid(state.st_gid); // pmctl has one thread
    return ", or as a member of the group " +
           (entry != nullptr ? entry->gr_name : std::to_string(state.st_gid));
}

// Prints why pm is not reached: no permission, a wrong root, or no pm.
void printNotReached(const Options& options) {
    const std::string folder = runFolder(options);
    const std::string socket = folder + "/requests";
    if (::access(socket.c_str(), R_OK | W_OK) != 0 && errno == EACCES)
        return complain("you may not use %s: run pmctl as root%s", folder.c_str(),
                        orAsMember(folder).c_str());
    const std::string settings = belowRoot(options, SETTINGS_FILE);
    if (!options.root.empty() && ::access(settings.c_str(), F_OK) != 0)
        return complain("%s has no etc/pm.conf; is it the root of the pm that you mean? It is set "
                        "by --root or PM_HOST_ROOT",
                        options.root.c_str());
    complain("no pm is running%s%s; %s", options.root.empty() ? "" : " below ",
             options.root.c_str(),
             options.root.empty() ? "\"systemctl start pm\" starts it, \"journalctl -u pm\" shows "
                                    "why it ended"
                                  : "start it with PM_HOST_ROOT set to that root");
}

} // namespace

int printNotAnswered(const Options& options, Outcome outcome) {
    switch (outcome) {
    case Outcome::NotReached:
        printNotReached(options);
        break;
    case Outcome::Lost:
        complain("pm ended before it answered");
        break;
    case Outcome::TimedOut:
        complain("pm in %s did not answer within %g s; it may still do what was asked",
                 runFolder(options).c_str(), options.timeout);
        break;
    case Outcome::NoMemory:
    case Outcome::Answered:
        complain("out of memory for the request");
        break;
    }
    return EXIT_NOT_REACHED;
}

int listenOn(const Options& options, std::string_view subscription,
             const std::function<bool()>& begin,
             const std::function<void(std::string_view, std::string_view)>& handle) {
    constexpr timespec PAUSE = {0, 200'000'000};
    bool known = false; // pm was reached before
    bool lost = false;  // pm has ended since
    for (;;) {
        Connection connection(eventsEndpoint(runFolder(options)));
        Frames frames;
        Outcome outcome = connection.listen(timeLimit(options), frames, subscription);
        if (outcome != Outcome::Answered && !known)
            return printNotAnswered(options, outcome);
        if (outcome == Outcome::Answered && lost)
            std::fprintf(stderr, "pmctl: pm is running again\n");
        if (outcome == Outcome::Answered && !begin())
            return EXIT_FAILED;
        lost = lost && outcome != Outcome::Answered;
        known = true;
        for (; outcome == Outcome::Answered; outcome = connection.listen({}, frames)) {
            if (frames.size() == 3)
                handle(frames[1].view(), frames[2].view());
            std::fflush(stdout);
            if (std::ferror(stdout) != 0)
                return EXIT_FAILED; // the reader has closed it
        }
        if (!std::exchange(lost, true))
            std::fprintf(stderr, "pmctl: pm has ended; waiting for its next start\n");
        ::nanosleep(&PAUSE, nullptr);
    }
}

int ask(const Options& options, const Request& request, Reply& reply) {
    if (messageSize(request) > MESSAGE_LIMIT)
        return wrongUse("a request can have at most 64 MiB, this one has " +
                        std::to_string(messageSize(request)) + " bytes");
    const std::string endpoint = requestEndpoint(runFolder(options));
    if (endpoint.size() - std::string_view("ipc://").size() >= sizeof(sockaddr_un::sun_path))
        return wrongUse("the root is too long: a socket's path has at most 107 bytes: " + endpoint);
    Connection connection(endpoint);
    const Outcome outcome = connection.request(request, timeLimit(options), reply);
    return outcome == Outcome::Answered ? reportReply(request, reply)
                                        : printNotAnswered(options, outcome);
}

int ask(const Options& options, const Request& request) {
    Reply reply;
    return ask(options, request, reply);
}

std::string valueOf(const Options& options, const std::string& key) {
    Connection connection(requestEndpoint(runFolder(options)));
    Reply reply;
    if (connection.request({"get", {key}, {}}, timeLimit(options), reply) != Outcome::Answered ||
        reply.kind != ReplyKind::Done || reply.fields.empty())
        return "?";
    return escapeControls(reply.fields.front());
}

int reportNoDestination(const Options& options, int status) {
    for (int number = 1; number <= MAIL_DESTINATIONS && status == EXIT_DONE; ++number) {
        const std::string name = "email_alert" + std::to_string(number);
        if (valueOf(options, "pm_bool_" + name + "_enabled") != "false" &&
            !valueOf(options, "pm_str_" + name + "_destination").empty())
            return status;
    }
    if (status == EXIT_DONE)
        std::fprintf(stderr, "pmctl: no mail was sent: no destination is enabled and has an "
                             "address; \"pmctl check\" tells more\n");
    return status;
}

int callFunction(const Options& options, const std::string& function, std::string_view record) {
    return ask(options, {"call", {function}, record});
}

} // namespace pm::ctl
