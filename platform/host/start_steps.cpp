#include "platform/host/start_steps.h"

#include <mutex>
#include <utility>

namespace pm::host {

namespace {

constexpr int SUBSCRIPTIONS = 9; // the SNMP group and its eight alert groups
constexpr int ATTEMPTS = 7;      // then pm continues without them

struct Steps {
    std::mutex mutex;
    int attempts = 0;
    int subscriptions = 0; // in this attempt, including failed ones
    bool failed = false;   // at least one in this attempt
    bool done = false;
    void (*hook)() = nullptr;
};

// Never destroyed: other threads may use it until the process has ended.
Steps& steps() {
    static Steps& instance = *new Steps;
    return instance;
}

using Hook = void (*)();

// Returns the hook, once, if the start is done; else null. Mutex held.
Hook takeHook() {
    return steps().done ? std::exchange(steps().hook, nullptr) : nullptr;
}

void call(Hook hook) {
    if (hook != nullptr)
        hook();
}

// Ends an attempt; the start is done if it succeeded or was the last. Mutex held.
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
