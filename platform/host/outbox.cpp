#include "platform/host/outbox.h"

#include <mutex>
#include <sys/eventfd.h>
#include <utility>

namespace pm::host {

using namespace client;

namespace {

constexpr size_t EVENTS_LIMIT = 512;

struct Outbox {
    std::mutex mutex;
    Fd wake;
    Outgoing outgoing;
};

// Never destroyed: other threads may queue until the process has ended.
Outbox& outbox() {
    static Outbox& instance = *new Outbox;
    return instance;
}

// Mutex held.
void wake() {
    if (outbox().wake.valid())
        eventfd_write(outbox().wake.get(), 1);
}

} // namespace

int openOutbox() {
    const std::lock_guard lock(outbox().mutex);
    outbox().wake.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return outbox().wake.get();
}

void closeOutbox() {
    const std::lock_guard lock(outbox().mutex);
    outbox().wake.reset();
    outbox().outgoing = {};
}

void queueReply(Caller& caller, Reply reply) {
    if (!caller.waits)
        return;
    const std::lock_guard lock(outbox().mutex);
    auto& replies = outbox().outgoing.replies;
    if (outbox().wake.valid()) {
        replies.emplace_back(); // may throw, so before anything is moved
        replies.back().reply = std::move(reply);
        std::swap(replies.back().caller, caller);
        wake();
    }
    caller.waits = false;
}

bool queueEvent(std::string name) {
    const std::lock_guard lock(outbox().mutex);
    if (!outbox().wake.valid() || outbox().outgoing.events.size() >= EVENTS_LIMIT)
        return false;
    outbox().outgoing.events.push_back(std::move(name));
    wake();
    return true;
}

void wakeLoop() {
    const std::lock_guard lock(outbox().mutex);
    wake();
}

Outgoing takeOutgoing() {
    const std::lock_guard lock(outbox().mutex);
    eventfd_t count = 0;
    if (outbox().wake.valid())
        eventfd_read(outbox().wake.get(), &count);
    return std::exchange(outbox().outgoing, {});
}

} // namespace pm::host
