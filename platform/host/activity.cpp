#include "platform/host/activity.h"

#include <cstring>
#include <ctime>
#include <mutex>
#include <pthread.h>
#include <utility>

#include "common/status.h"
#include "platform/host/step_lines.h"

namespace pm::host {

namespace {

constexpr std::string_view GENERIC_FUNCTION = "pm_function_sendGenericEmail";

// The operation that a thread is running.
struct Operation {
    std::string name;       // function or topic
    std::string server;     // mail server, as last looked up
    std::string reason;     // why the last failed step failed
    std::string incomplete; // why the message that msmtp gets is not complete
    bool byCommand = false; // the reason came from a command and is already logged
    bool genericBegun = false;
    std::vector<Failure> mails;
};

struct State {
    std::mutex mutex;
    Activity activity;
    Operation* generic = nullptr; // the generic mail whose caller waits
};

// Never destroyed: other threads may use it until the process has ended.
State& state() {
    static State& instance = *new State;
    return instance;
}

thread_local Operation current;

// Counts a generic mail as done when its thread ends and destroys this.
struct GenericThread {
    bool begun = false;
    bool failed = false;

    GenericThread() = default;
    GenericThread(const GenericThread&) = delete;
    GenericThread& operator=(const GenericThread&) = delete;
    ~GenericThread();
};
thread_local GenericThread genericThread;

int64_t millisecondsSinceEpoch() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

Tally& tallyOf(Work work, std::string_view name) {
    Activity& activity = state().activity;
    Tallies& tallies = work == Work::Function ? activity.functions : activity.topics;
    const auto found = tallies.find(name);
    return found != tallies.end() ? found->second : tallies[std::string(name)];
}

void count(Tally& tally, int32_t status) {
    ++tally.done;
    tally.failed += status == 0 ? 0 : 1;
}

bool isProgram(std::string_view path, std::string_view name) {
    return path.substr(path.rfind('/') + 1) == name;
}

bool isDetached() {
    pthread_attr_t attributes;
    int kind = PTHREAD_CREATE_JOINABLE;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        pthread_attr_getdetachstate(&attributes, &kind);
        pthread_attr_destroy(&attributes);
    }
    return kind == PTHREAD_CREATE_DETACHED;
}

GenericThread::~GenericThread() {
    if (!begun)
        return;
    const bool waitedFor = !isDetached();
    const std::lock_guard lock(state().mutex);
    Tally& tally = state().activity.generic;
    --tally.running;
    count(tally, failed ? 1 : 0);
    if (waitedFor && state().generic != nullptr)
        state().generic->mails.swap(current.mails);
}

void beginGenericThread() {
    genericThread.begun = true;
    current = {};
    current.name = GENERIC_FUNCTION;
}

// Returns the reason if it is not logged yet, else an empty text. Mutex held.
std::string noteFailedMail(const StepLine& line, int error) {
    // This status means a file or a setting; a setting's failure has set a reason by now.
    if (current.reason.empty() && line.status == VESK_ERROR_FILE_ACCESS_FAIL && error != 0 &&
        !line.text.empty()) {
        current.reason =
            std::string("a file of the mail in /tmp cannot be written: ") + std::strerror(error);
        current.byCommand = false;
    }
    const Failure failure = {millisecondsSinceEpoch(), current.name, line.status, current.reason,
                             line.text};
    state().activity.last = failure;
    count(state().activity.mails, line.status);
    if (current.mails.size() < FAILED_MAILS)
        current.mails.push_back(failure);
    genericThread.failed = true;
    const std::string reason = std::exchange(current.reason, {});
    current.incomplete.clear();
    return std::exchange(current.byCommand, false) ? "" : reason;
}

void setReason(std::string text) {
    constexpr std::string_view PLACE = "server %";
    if (const size_t place = text.find(PLACE); place != std::string::npos)
        text.replace(place + PLACE.size() - 1, 1, current.server.empty() ? "\"\"" : current.server);
    current.reason = std::move(text);
    current.byCommand = false;
}

} // namespace

void noteServing() {
    const std::lock_guard lock(state().mutex);
    state().activity.servingSince = millisecondsSinceEpoch();
}

void noteBegin(Work work, std::string_view name) {
    current = {};
    current.name = name;
    const std::lock_guard lock(state().mutex);
    ++tallyOf(work, name).running;
    if (name == GENERIC_FUNCTION)
        state().generic = &current;
}

WorkOutcome noteEnd(Work work, std::string_view name, int32_t status) {
    const std::lock_guard lock(state().mutex);
    Tally& tally = tallyOf(work, name);
    --tally.running;
    count(tally, status);
    if (state().generic == &current)
        state().generic = nullptr;
    Operation ended = std::exchange(current, {});
    if (status != 0 && ended.mails.empty())
        state().activity.last = {millisecondsSinceEpoch(), std::string(name), status, ended.reason,
                                 ""};
    return {std::move(ended.reason), std::move(ended.mails)};
}

void noteCommand(const std::string& program, bool started, int32_t status,
                 const std::string& reason) {
    const bool relay = isProgram(program, "msmtp");
    const bool unset = relay && current.server == "0.0.0.0"; // msmtp tries this machine then
    const std::string cause = std::exchange(current.incomplete, {});
    current.byCommand = status != 0 && cause.empty() && !unset;
    if (status == 0)
        current.reason.clear();
    else if (!cause.empty())
        current.reason = cause;
    else
        current.reason = (unset ? "no mail server is set; " : "") + program + ": " + reason;
    const std::lock_guard lock(state().mutex);
    Activity& activity = state().activity;
    if (relay)
        count(activity.relay, status);
    else if (isProgram(program, "snmptrap") && started)
        count(activity.traps, status);
    if (relay && status == 0)
        count(activity.mails, 0);
    else if (!relay && status != 0) // a failed mail is counted after its last attempt
        activity.last = {millisecondsSinceEpoch(), program, status, current.reason, ""};
}

std::string noteLogLine(std::string_view text, int error) {
    StepLine line = readStepLine(text, error);
    if (line.kind == LineKind::Nothing)
        return {};
    const std::lock_guard lock(state().mutex);
    switch (line.kind) {
    case LineKind::Nothing:
        break;
    case LineKind::Server:
        current.server = std::move(line.text);
        break;
    case LineKind::Incomplete:
        current.incomplete = line.text;
        setReason(std::move(line.text));
        break;
    case LineKind::Answer:
        if (!current.reason.empty())
            break;
        [[fallthrough]];
    case LineKind::Reason:
        setReason(std::move(line.text));
        break;
    case LineKind::FailedMail:
        return noteFailedMail(line, error);
    case LineKind::GenericMail:
        current.genericBegun = true;
        ++state().activity.generic.running;
        break;
    case LineKind::GenericThread:
        beginGenericThread();
        break;
    case LineKind::GenericError: // of an accepted mail, whose own line follows
        setReason(std::move(line.text));
        if (!std::exchange(current.genericBegun, false))
            break;
        --state().activity.generic.running;
        count(state().activity.generic, 1);
        break;
    }
    return {};
}

Activity activity() {
    const std::lock_guard lock(state().mutex);
    return state().activity;
}

} // namespace pm::host
