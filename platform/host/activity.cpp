#include "platform/host/activity.h"

#include <ctime>
#include <mutex>
#include <pthread.h>

namespace pm::host {

namespace {

struct State {
    std::mutex mutex;
    Activity activity;
    // Whose command failed last: it is the cause if that thread's work fails as well.
    pthread_t commandThread{};
    bool commandFailed = false;
};

// Never destroyed: other threads may still count while the process ends.
State& state() {
    static State& instance = *new State;
    return instance;
}

int64_t milliseconds() {
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

} // namespace

void noteServing() {
    const std::lock_guard lock(state().mutex);
    state().activity.servingSince = milliseconds();
}

void noteBegin(Work work, std::string_view name) {
    const std::lock_guard lock(state().mutex);
    ++tallyOf(work, name).running;
    if (state().commandFailed && pthread_equal(state().commandThread, pthread_self()) != 0)
        state().commandFailed = false;
}

void noteEnd(Work work, std::string_view name, int32_t status) {
    const std::lock_guard lock(state().mutex);
    Tally& tally = tallyOf(work, name);
    --tally.running;
    count(tally, status);
    if (status == 0)
        return;
    const bool byCommand =
        state().commandFailed && pthread_equal(state().commandThread, pthread_self()) != 0;
    Failure& last = state().activity.last;
    last = {milliseconds(), std::string(name), status, byCommand ? last.reason : ""};
}

void noteCommand(const std::string& program, bool started, int32_t status,
                 const std::string& reason) {
    const std::lock_guard lock(state().mutex);
    Activity& activity = state().activity;
    if (isProgram(program, "msmtp"))
        count(activity.relay, status);
    else if (isProgram(program, "snmptrap") && started)
        count(activity.traps, status);
    if (status == 0)
        return;
    activity.last = {milliseconds(), program, status, program + ": " + reason};
    state().commandThread = pthread_self();
    state().commandFailed = true;
}

Activity activity() {
    const std::lock_guard lock(state().mutex);
    return state().activity;
}

} // namespace pm::host
