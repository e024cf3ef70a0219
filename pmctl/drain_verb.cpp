// drain: makes pm refuse new work, and waits until the accepted work is done.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "platform/client/schema.h"
#include "pmctl/exchange.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

using Clock = std::chrono::steady_clock;

struct Left {
    int32_t waiting = 0;
    int32_t running = 0;
    int32_t generic = 0;
    bool idle = false;
};

Left leftIn(const Reply& reply) {
    Left left;
    for (size_t at = 0; at + 1 < reply.fields.size(); at += 2) {
        const std::string& item = reply.fields[at];
        const int32_t number = wholeNumber(reply.fields[at + 1]).value_or(0);
        if (item == "waiting")
            left.waiting = number;
        else if (item == "running")
            left.running = number;
        else if (item == "generic")
            left.generic = number;
        else if (item == "idle")
            left.idle = number == 1;
    }
    return left;
}

void declareDrain(CLI::App& verb, Options& options) {
    verb.add_flag("--cancel", options.cancel, "Accept new work again");
}

int drain(const Options& options) {
    constexpr timespec PAUSE = {0, 100'000'000};
    constexpr double ANSWER_LIMIT = 5; // seconds; pm answers at once, but the machine may be busy
    const auto end = Clock::now() + timeLimit(options);
    const Request request = {"drain", {options.cancel ? "cancel" : "begin"}, {}};
    Options each = options;
    each.timeout = std::max(options.timeout, ANSWER_LIMIT);
    for (;;) {
        Reply reply;
        const int status = ask(each, request, reply);
        if (status != EXIT_DONE)
            return status;
        const Left left = leftIn(reply);
        if (options.cancel || left.idle)
            return EXIT_DONE;
        if (Clock::now() >= end) {
            complain("the time limit of %g s is over; %d waiting and %d running requests or "
                     "events and %d generic mails are not done, and are lost if pm ends now; pm "
                     "accepts no new work until \"pmctl drain --cancel\" or its next start",
                     options.timeout, left.waiting, left.running, left.generic);
            return EXIT_FAILED;
        }
        ::nanosleep(&PAUSE, nullptr);
    }
}

} // namespace

std::span<const Verb> drainVerbs() {
    static constexpr Verb verbs[] = {
        {"drain", "Makes pm refuse new work, and waits until the accepted work is done",
         "  pmctl drain --timeout 30 && systemctl stop pm   # as the unit does itself\n"
         "  pmctl drain --cancel                            # accepts new work again\n"
         "At the time limit (--timeout SECONDS, default 300) it prints what is not done and exits\n"
         "with status 1.",
         declareDrain, drain},
    };
    return verbs;
}

} // namespace pm::ctl
