// list, call, watch.
#include <cstdio>
#include <ctime>

#include "platform/client/printable.h"
#include "platform/client/schema.h"
#include "pmctl/exchange.h"
#include "pmctl/input.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

// The fields of the reply are pairs: kind and name.
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
                    "File with the request record, - for standard input; default no record");
}

int call(const Options& options) {
    std::string record;
    if (options.record.empty())
        return ask(options, {"call", {options.name}, {}});
    if (!readInput(options.record, record))
        return EXIT_WRONG_USE;
    return callFunction(options, options.name, record);
}

int watch(const Options& options) {
    const auto begin = [] { return std::fprintf(stderr, "pmctl: watching\n") > 0; };
    const auto print = [&](std::string_view kind, std::string_view name) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        if (kind == "event")
            std::printf(
                "%s %s\n",
                timeText(int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000, options.utc).c_str(),
                escapeControls(name).c_str());
    };
    return listenOn(options, WIRE_VERSION, begin, print);
}

} // namespace

void declareJson(CLI::App& verb, Options& options) {
    verb.add_flag("--json", options.json, "Print JSON, for programs");
}

void declareIndex(CLI::App& verb, Options& options, const char* what, int most) {
    const std::string range = "1 to " + std::to_string(most);
    verb.add_option("INDEX", options.index, std::string(what) + ", " + range)
        ->type_name("")
        ->required()
        ->check(CLI::Validator(
            [most, range](const std::string& text) {
                const auto number = wholeNumber(text);
                return number && *number >= 1 && *number <= most ? "" : text + " is not " + range;
            },
            ""));
}

void declareUtc(CLI::App& verb, Options& options) {
    verb.add_flag("--utc", options.utc, "Print times in UTC instead of local time");
}

std::span<const Verb> serviceVerbs() {
    static constexpr Verb verbs[] = {
        {"list", "Lists the functions and topics that pm serves",
         "  pmctl list\n  pmctl list --json | jq .topics", declareJson, list},
        {"call", "Calls a named function with a record from a file",
         "  pmctl call pm_function_sendTestTrap --record request.bin\n"
         "  printf '\\001' | pmctl call pm_function_sendTestEmailEx --record -",
         declareCall, call},
        {"watch", "Prints the events that pm raises, with their time, until interrupted",
         "  pmctl watch", declareUtc, watch},
    };
    return verbs;
}

} // namespace pm::ctl
