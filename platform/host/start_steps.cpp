#include "platform/host/start_steps.h"

#include <mutex>
#include <utility>

namespace pm::host {

namespace {

constexpr int SUBSCRIPTIONS = 9; // to the group of SNMP and the eight of its alerts
constexpr int ATTEMPTS = 7;      // then pm goes on without

struct Steps {
    std::mutex mutex;
    int attempts = 0;
    int subscriptions = 0; // of this attempt, failed ones included
    bool failed = false;   // one of this attempt
    bool done = false;
    void (*hook)() = nullptr;
};

// Never destroyed: other threads may still look while the process ends.
Steps& steps() {
    static Steps& instance = *new Steps;
    return instance;
}

using Hook = void (*)();

// With the mutex held: gives the hook if it is due.
Hook takeHook() {
    return steps().done ? std::exchange(steps().hook, nullptr) : nullptr;
}

void call(Hook hook) {
    if (hook != nullptr)
        hook();
}

// With the mutex held: this attempt has come to its end.
void endAttempt() {
    if (!steps().failed || steps().attempts >= ATTEMPTS)
        steps().done = true;
}

} // namespace

void noteSubscriber(bool made) {
    std::unique_lock lock(steps().mutex);
    ++steps().attempts;
    steps().subscriptions = 0;
    steps().failed = !made;
    if (!made)
        endAttempt();
    const Hook hook = takeHook();
    lock.unlock();
    call(hook);
}

void noteSubscription(bool made) {
    std::unique_lock lock(steps().mutex);
    steps().failed = steps().failed || !made;
    if (++steps().subscriptions == SUBSCRIPTIONS)
        endAttempt();
    const Hook hook = takeHook();
    lock.unlock();
    call(hook);
}

bool startIsDone() {
    const std::lock_guard lock(steps().mutex);
    return steps().done;
}

void setStartDoneHook(void (*hook)()) {
    std::unique_lock lock(steps().mutex);
    steps().hook = hook;
    const Hook due = takeHook();
    lock.unlock();
    call(due);
}

} // namespace pm::host
