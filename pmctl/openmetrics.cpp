#include "pmctl/openmetrics.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace pm::ctl {

namespace {

struct Metrics {
    std::string text;

    // unit: empty, or the suffix of the name.
    void family(const std::string& name, const char* type, std::string_view unit,
                const char* help) {
        text += "# TYPE " + name + ' ' + type + '\n';
        if (!unit.empty())
            text.append("# UNIT ").append(name).append(" ").append(unit).append("\n");
        text += "# HELP " + name + ' ' + help + '\n';
    }
    void sample(const std::string& name, const std::string& labels, int64_t value) {
        text +=
            name + (labels.empty() ? "" : '{' + labels + '}') + ' ' + std::to_string(value) + '\n';
    }
};

std::string label(const char* name, std::string_view value) {
    std::string text = name + std::string("=\"");
    for (const char letter : value) {
        if (letter == '"' || letter == '\\')
            text += '\\';
        if (letter == '\n')
            text += "\\n";
        else
            text += letter;
    }
    return text + '"';
}

// Adds the two samples of a counter: succeeded and failed.
void addResults(Metrics& metrics, const std::string& name, const std::string& labels,
                int64_t succeeded, int64_t failed) {
    const std::string front = labels.empty() ? "" : labels + ',';
    metrics.sample(name + "_total", front + label("result", "succeeded"), succeeded);
    metrics.sample(name + "_total", front + label("result", "failed"), failed);
}

void addCounter(Metrics& metrics, const std::string& name, const char* help, int64_t succeeded,
                int64_t failed) {
    metrics.family(name, "counter", "", help);
    addResults(metrics, name, "", succeeded, failed);
}

void addTime(Metrics& metrics, const std::string& name, const char* help, int64_t milliseconds) {
    metrics.family(name, "gauge", "seconds", help);
    char text[32];
    std::snprintf(text, sizeof text, " %" PRId64 ".%03d\n", milliseconds / 1000,
                  static_cast<int>(milliseconds % 1000));
    metrics.text += name + text;
}

int64_t countIn(const Counts& counts, const char* what) {
    const auto found = counts.find(what);
    return found == counts.end() ? 0 : std::strtoll(found->second.c_str(), nullptr, 10);
}

struct Kind {
    const char* label;
    const char* counter;
    const char* counterHelp;
    const char* running;
    const char* runningHelp;
};
constexpr Kind FUNCTIONS = {"function", "pm_function_calls", "Calls of a function.",
                            "pm_function_calls_running", "Running calls of a function."};
constexpr Kind TOPICS = {"topic", "pm_topic_events", "Events and attribute changes of a topic.",
                         "pm_topic_events_running", "Running events of a topic."};

void addTable(Metrics& metrics, const CountTable& table, const Kind& kind) {
    metrics.family(kind.counter, "counter", "", kind.counterHelp);
    for (const auto& [name, counts] : table) {
        const int64_t failed = countIn(counts, "failed");
        addResults(metrics, kind.counter, label(kind.label, name), countIn(counts, "done") - failed,
                   failed);
    }
    metrics.family(kind.running, "gauge", "", kind.runningHelp);
    for (const auto& [name, counts] : table)
        metrics.sample(kind.running, label(kind.label, name), countIn(counts, "running"));
}

void addWaiting(Metrics& metrics, const Status& status) {
    int64_t calls = 0;
    for (const auto& [name, counts] : status.functions)
        calls += countIn(counts, "waiting");
    metrics.family("pm_waiting", "gauge", "", "Jobs that wait in pm's queues.");
    metrics.sample("pm_waiting", label("queue", "calls"), calls);
    metrics.sample("pm_waiting", label("queue", "events"), status.number("waiting events"));
    metrics.sample("pm_waiting", label("queue", "changes"), status.number("waiting changes"));
}

void addStatus(Metrics& metrics, const Status& status) {
    addTime(metrics, "pm_serving_since_timestamp_seconds", "Time at which pm began to serve.",
            status.number("serving since"));
    addCounter(metrics, "pm_mails", "Mails by result, counted for each destination.",
               status.number("mails taken"), status.number("mails failed"));
    addCounter(metrics, "pm_relay_runs", "Runs of msmtp, up to two for a mail.",
               status.number("relay taken"), status.number("relay refused"));
    const int64_t failedTraps = status.number("traps failed");
    addCounter(metrics, "pm_traps", "Runs of snmptrap; traps are not acknowledged.",
               status.number("traps started") - failedTraps, failedTraps);
    addTable(metrics, status.functions, FUNCTIONS);
    addTable(metrics, status.topics, TOPICS);
    addWaiting(metrics, status);
    if (!status.text("failure time").empty())
        addTime(metrics, "pm_last_failure_timestamp_seconds", "Time of the last failure.",
                status.number("failure time"));
}

} // namespace

std::string openmetricsText(const Status* status) {
    Metrics metrics;
    metrics.family("pm_up", "gauge", "", "Whether pm answers.");
    metrics.sample("pm_up", "", status == nullptr ? 0 : 1);
    if (status != nullptr)
        addStatus(metrics, *status);
    return metrics.text + "# EOF\n";
}

} // namespace pm::ctl
