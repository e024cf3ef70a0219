// status: prints what pm has done since it started to serve.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "platform/client/printable.h"
#include "pmctl/exchange.h"
#include "pmctl/openmetrics.h"
#include "pmctl/output.h"
#include "pmctl/status_values.h"
#include "pmctl/statuses.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

// Formats a count as a number, whatever the reply contains.
std::string number(const std::string& text) {
    return std::to_string(std::strtoll(text.c_str(), nullptr, 10));
}

std::string jsonTable(const CountTable& table) {
    std::vector<JsonMember> rows;
    for (const auto& [name, counts] : table) {
        std::vector<JsonMember> members;
        for (const auto& [count, value] : counts)
            members.push_back({count, number(value)});
        rows.push_back({name, jsonObject(members)});
    }
    return jsonObject(rows);
}

std::string jsonFailure(const Status& status) {
    if (status.text("failure time").empty())
        return "null";
    return jsonObject({{"time", jsonText(timeText(status.number("failure time"), true))},
                       {"name", jsonText(status.text("failure name"))},
                       {"status", number(status.text("failure status"))},
                       {"destination", jsonText(status.text("failure destination"))},
                       {"reason", jsonText(status.text("failure reason"))}});
}

void printJson(const Status& status) {
    const auto pair = [&](const char* first, const char* firstKey, const char* second,
                          const char* secondKey) {
        return jsonObject(
            {{first, number(status.text(firstKey))}, {second, number(status.text(secondKey))}});
    };
    const std::string text = jsonObject(
        {{"service", jsonText(status.text("service"))},
         {"module", number(status.text("module"))},
         {"serving_since", jsonText(timeText(status.number("serving since"), true))},
         {"process", number(status.text("process"))},
         {"mails", pair("taken", "mails taken", "failed", "mails failed")},
         {"relay_runs", pair("taken", "relay taken", "refused", "relay refused")},
         {"generic_mails", jsonObject({{"done", number(status.text("generic done"))},
                                       {"failed", number(status.text("generic failed"))},
                                       {"running", number(status.text("generic running"))}})},
         {"traps", pair("started", "traps started", "failed", "traps failed")},
         {"waiting", pair("events", "waiting events", "changes", "waiting changes")},
         {"functions", jsonTable(status.functions)},
         {"topics", jsonTable(status.topics)},
         {"last_failure", jsonFailure(status)}});
    std::printf("%s\n", text.c_str());
}

void printTable(const char* title, const CountTable& table, bool waiting) {
    std::printf("\n%7s %7s %7s%s  %s\n", "done", "failed", "running", waiting ? " waiting" : "",
                title);
    for (const auto& [name, counts] : table) {
        for (const char* column : {"done", "failed", "running", "waiting"}) {
            const auto found = counts.find(column);
            if (found != counts.end())
                std::printf("%7s ", found->second.c_str());
        }
        std::printf(" %s\n", escapeControls(name).c_str());
    }
}

void printFailure(const Status& status, bool utc) {
    if (status.text("failure time").empty()) {
        std::printf("last failure  none\n");
        return;
    }
    const std::string name = status.text("failure name");
    std::string reason = escapeControls(status.text("failure reason"));
    const auto result = static_cast<int32_t>(status.number("failure status"));
    if (reason.empty())
        reason = statusMeaning(name, result);
    const std::string destination = escapeControls(status.text("failure destination"));
    std::printf("last failure  %s, %s%s%s, status %d: %s\n",
                timeText(status.number("failure time"), utc).c_str(), escapeControls(name).c_str(),
                destination.empty() ? "" : ", mail to ", destination.c_str(), result,
                reason.c_str());
}

void printText(const Status& status, bool utc) {
    const int64_t since = status.number("serving since");
    const int64_t minutes = (static_cast<int64_t>(std::time(nullptr)) - since / 1000) / 60;
    std::printf("service       %s, module %s\n", escapeControls(status.text("service")).c_str(),
                number(status.text("module")).c_str());
    std::printf("serving since %s, for %" PRId64 " d %" PRId64 " h %" PRId64 " min, process %s\n",
                timeText(since, utc).c_str(), minutes / 1440, minutes / 60 % 24, minutes % 60,
                status.text("process").c_str());
    if (status.text("draining") == "1")
        std::printf("draining      no new work is taken\n");
    const auto text = [&](const char* what) { return number(status.text(what)); };
    std::printf("mails         %s taken by the mail server, %s failed\n",
                text("mails taken").c_str(), text("mails failed").c_str());
    std::printf("generic mails %s done, %s of them failed, %s running\n",
                text("generic done").c_str(), text("generic failed").c_str(),
                text("generic running").c_str());
    std::printf("relay runs    %s succeeded, %s failed\n", text("relay taken").c_str(),
                text("relay refused").c_str());
    std::printf("traps         %s started, %s of them failed\n",
                status.text("traps started").c_str(), status.text("traps failed").c_str());
    std::printf("waiting       %s events, %s changes and settings\n",
                status.text("waiting events").c_str(), status.text("waiting changes").c_str());
    printFailure(status, utc);
    printTable("function", status.functions, true);
    printTable("topic", status.topics, false);
}

void declareStatus(CLI::App& verb, Options& options) {
    declareJson(verb, options);
    declareUtc(verb, options);
    verb.add_flag("--openmetrics", options.openmetrics, "Print counters for Prometheus")
        ->excludes("--json");
}

int showStatus(const Options& options) {
    Reply reply;
    const int result = ask(options, {"status", {}, {}}, reply);
    const Status status = sorted(reply);
    if (options.openmetrics) {
        const bool up = result == EXIT_DONE;
        std::printf("%s", openmetricsText(up ? &status : nullptr).c_str());
    } else if (result == EXIT_DONE && options.json) {
        printJson(status);
    } else if (result == EXIT_DONE) {
        printText(status, options.utc);
    }
    return result;
}

} // namespace

std::span<const Verb> statusVerbs() {
    static constexpr Verb verbs[] = {
        {"status", "Prints what pm has done since its start, and its last failure",
         "  pmctl status\n"
         "  pmctl status --json | jq .last_failure\n"
         "  pmctl status --openmetrics",
         declareStatus, showStatus},
    };
    return verbs;
}

} // namespace pm::ctl
