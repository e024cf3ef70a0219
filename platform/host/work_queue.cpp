#include "platform/host/work_queue.h"

#include <atomic>
#include <exception>
#include <utility>

#include "platform/host/command_turn.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

// Bytes of the waiting and running jobs of all queues.
std::atomic<size_t> bytesHeld{0};

bool reserveBytes(size_t bytes) {
    size_t held = bytesHeld.load();
    do {
        if (bytes > WAITING_BYTES || held > WAITING_BYTES - bytes)
            return false;
    } while (!bytesHeld.compare_exchange_weak(held, held + bytes));
    return true;
}

size_t bytesOf(const Job& job) {
    return sizeof job + job.record.held() + job.name.size() + job.value.size();
}

// Jobs handle their own failures; an exception here means that memory is exhausted.
void run(Job& job) {
    try {
        job.run(job);
        return;
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "%s was not finished: %s",
                      job.name.c_str(), exception.what());
    }
    try {
        queueReply(job.caller, refusal("no-memory", "pm ran out of memory before it was done"));
    } catch (const std::exception&) {
        return; // no reply: the caller's time limit ends its wait
    }
}

} // namespace

bool jobsAreHeld() {
    return bytesHeld.load() != 0; // every job counts at least its own size
}

Pushed WorkQueue::push(std::unique_ptr<Job>& job, JobLimit limit) {
    const size_t bytes = bytesOf(*job);
    const std::lock_guard lock(m_mutex);
    if (!m_open)
        return Pushed::Closed;
    if (limit == JobLimit::Enforced && m_count >= m_limit)
        return Pushed::Full;
    if (!reserveBytes(bytes))
        return Pushed::NoRoom;
    m_bytes += bytes;
    ++m_count;
    Job* added = job.get();
    (m_first == nullptr ? m_first : m_last->next) = std::move(job);
    m_last = added;
    m_changed.notify_one();
    return Pushed::Queued;
}

// Waits for a job; returns null once the queue is closed.
std::unique_ptr<Job> WorkQueue::take() {
    std::unique_lock lock(m_mutex);
    m_served = true;
    m_changed.wait(lock, [this] { return !m_open || m_first != nullptr; });
    if (!m_open) {
        m_served = false;
        m_changed.notify_all();
        return nullptr;
    }
    std::unique_ptr<Job> job = std::move(m_first);
    m_first = std::move(job->next);
    --m_count;
    m_bytes -= bytesOf(*job);
    return job;
}

void WorkQueue::serve() {
    becomeWorker();
    while (std::unique_ptr<Job> job = take()) {
        const size_t bytes = bytesOf(*job);
        run(*job);
        job.reset();
        bytesHeld -= bytes;
    }
}

void WorkQueue::open() {
    const std::lock_guard lock(m_mutex);
    m_open = true;
}

void WorkQueue::close() {
    std::unique_lock lock(m_mutex);
    m_open = false;
    std::unique_ptr<Job> dropped = std::move(m_first);
    m_count = 0;
    bytesHeld -= m_bytes;
    m_bytes = 0;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_served; });
    lock.unlock();
    while (dropped != nullptr) // one by one: destroying the chain would recurse
        dropped = std::move(dropped->next);
}

size_t WorkQueue::waiting() const {
    const std::lock_guard lock(m_mutex);
    return m_count;
}

size_t WorkQueue::waiting(std::string_view name) const {
    const std::lock_guard lock(m_mutex);
    size_t count = 0;
    for (const Job* job = m_first.get(); job != nullptr; job = job->next.get())
        count += job->name == name ? 1 : 0;
    return count;
}

} // namespace pm::host
