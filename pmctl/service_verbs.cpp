// list, call, watch.
#include <cstdio>

#include "platform/client/printable.h"
#include "pmctl/exchange.h"
#include "pmctl/input.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

// Fields are pairs: what it is, and its name.
std::string jsonNames(const Reply& reply, std::string_view kind) {
    std::vector<std::string> names;
    for (size_t at = 1; at < reply.fields.size(); at += 2)
        if (reply.fields[at - 1] == kind)
            names.push_back(jsonText(reply.fields[at]));
    return jsonArray(names);
}

int list(const Options& options) {
    Reply reply;
    const int status = ask(options, {"list", {}, {}}, reply);
    if (status != EXIT_DONE)
        return status;
    if (options.json) {
        std::printf("%s\n", jsonObject({{"functions", jsonNames(reply, "function")},
                                        {"topics", jsonNames(reply, "topic")}})
                                .c_str());
        return EXIT_DONE;
    }
    for (size_t at = 1; at < reply.fields.size(); at += 2)
        std::printf("%s\n", escapeControls(reply.fields[at]).c_str());
    return EXIT_DONE;
}

void declareCall(CLI::App& verb, Options& options) {
    verb.add_option("FUNCTION", options.name, "Name of the function")->required();
    verb.add_option("--record", options.record,
                    "File with the request's record, - for standard input; none: no record");
}

int call(const Options& options) {
    std::string record;
    if (options.record.empty())
        return ask(options, {"call", {options.name}, {}});
    if (!readInput(options.record, record))
        return EXIT_WRONG_USE;
    return callFunction(options, options.name, record);
}

// The first message says that the subscription stands; then events, for ever.
int watch(const Options& options) {
    Connection connection(eventsEndpoint(runFolder(options)));
    Frames frames;
    Outcome outcome = connection.listen(timeLimit(options), frames);
    for (; outcome == Outcome::Answered; outcome = connection.listen({}, frames)) {
        if (frames.size() == 3 && frames[1].view() == "event")
            std::printf("%s\n", escapeControls(frames[2].view()).c_str());
        else
            std::fprintf(stderr, "pmctl: watching\n");
        std::fflush(stdout);
        if (std::ferror(stdout) != 0)
            return EXIT_FAILED; // nobody reads on
    }
    return tellEnd(options, outcome);
}

void declareNothing(CLI::App&, Options&) {}

constexpr Verb verbs[] = {
    {"list", "Functions and topics that pm serves, one a line",
     "  pmctl list\n  pmctl list --json | jq .topics", declareJson, list},
    {"call", "Calls a named function with a record made elsewhere",
     "  pmctl call pm_function_sendTestTrap --record request.bin\n"
     "  printf '\\001' | pmctl call pm_function_sendTestEmailEx --record -",
     declareCall, call},
    {"watch", "Prints the events that pm raises, until pm or pmctl is ended", "  pmctl watch",
     declareNothing, watch},
};

} // namespace

void declareJson(CLI::App& verb, Options& options) {
    verb.add_flag("--json", options.json, "Print JSON, for programs");
}

std::span<const Verb> serviceVerbs() {
    return verbs;
}

} // namespace pm::ctl
