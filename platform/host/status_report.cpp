#include "platform/host/status_report.h"

#include <unistd.h>

#include "platform/host/delivery.h"
#include "platform/host/subscriptions.h"

namespace pm::host {

using namespace client;

namespace {

struct Report {
    std::vector<std::string> fields;

    void add(const std::string& what, const std::string& value) {
        fields.push_back(what);
        fields.push_back(value);
    }
    template <typename Number>
    void add(const std::string& what, Number value) {
        add(what, std::to_string(value));
    }
    void addTally(const std::string& what, const Tally& tally) {
        add(what + " done", tally.done);
        add(what + " failed", tally.failed);
        add(what + " running", tally.running);
    }
};

Tally tallyOf(const Tallies& tallies, const std::string& name) {
    const auto found = tallies.find(name);
    return found == tallies.end() ? Tally() : found->second;
}

} // namespace

std::vector<std::string> statusReport(const Server& server) {
    Activity now = activity();
    Report report;
    if (server.name != nullptr) {
        report.add("service", std::string(server.name->name));
        report.add("module", server.name->module);
    }
    report.add("draining", server.draining ? 1 : 0);
    report.add("serving since", now.servingSince);
    report.add("process", ::getpid());
    report.add("mails taken", now.mails.done - now.mails.failed);
    report.add("mails failed", now.mails.failed);
    report.addTally("generic", now.generic);
    report.add("relay taken", now.relay.done - now.relay.failed);
    report.add("relay refused", now.relay.failed);
    report.add("traps started", now.traps.done);
    report.add("traps failed", now.traps.failed);
    for (const std::string& name : functionNames(server.functions)) {
        report.addTally("function " + name, tallyOf(now.functions, name));
        report.add("function " + name + " waiting",
                   findFunction(server.functions, name)->queue->waiting(name));
    }
    // Topics with subscribers; others are listed only once an event has come.
    for (const std::string& topic : servedTopics())
        now.topics.try_emplace(topic);
    for (const auto& [topic, tally] : now.topics)
        report.addTally("topic " + topic, tally);
    report.add("waiting events", waitingEvents());
    report.add("waiting changes", waitingChanges());
    if (now.last.milliseconds != 0) {
        report.add("failure time", now.last.milliseconds);
        report.add("failure name", now.last.name);
        report.add("failure status", now.last.status);
        report.add("failure reason", now.last.reason);
        report.add("failure destination", now.last.destination);
    }
    return report.fields;
}

std::vector<std::string> drainReport(const Server& server) {
    Report report;
    size_t waiting = waitingEvents() + waitingChanges();
    for (const std::string& name : functionNames(server.functions))
        waiting += findFunction(server.functions, name)->queue->waiting(name);
    const Activity now = activity();
    uint64_t running = 0;
    for (const Tallies* tallies : {&now.functions, &now.topics})
        for (const auto& [name, tally] : *tallies)
            running += tally.running;
    report.add("waiting", waiting);
    report.add("running", running);
    report.add("generic", now.generic.running);
    // Checks jobs first: a job counts the generic mail that it starts before it ends.
    report.add("idle", !jobsAreHeld() && activity().generic.running == 0 ? 1 : 0);
    return report.fields;
}

Reply outcomeReply(int32_t status, const WorkOutcome& outcome) {
    Reply reply = statusReply(status);
    Report report;
    if (!outcome.reason.empty())
        report.add("reason", outcome.reason);
    for (const Failure& mail : outcome.mails) {
        report.add("destination", mail.destination);
        report.add("status", mail.status);
        report.add("reason", mail.reason);
    }
    for (std::string& field : report.fields)
        reply.fields.push_back(std::move(field));
    return reply;
}

} // namespace pm::host
