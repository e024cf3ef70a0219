#include "platform/host/work_queue.h"

#include <algorithm>
#include <atomic>
#include <exception>

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
        leaveReply(job.caller, refusal("no-memory", "pm ran out of memory before it was done"));
    } catch (const std::exception&) {
        return; // no reply: the caller's time limit ends its wait
    }
}

} // namespace

bool jobsAreHeld() {
    return bytesHeld.load() != 0; // every job counts at least its own size
}

Pushed WorkQueue::push(Jobs& jobs, bool own) {
    const size_t bytes = bytesOf(jobs.front());
    const std::lock_guard lock(m_mutex);
    if (!m_open)
        return Pushed::Closed;
    if (!own && m_jobs.size() >= m_limit)
        return Pushed::Full;
    if (!reserveBytes(bytes))
        return Pushed::NoRoom;
    m_bytes += bytes;
    m_jobs.splice(m_jobs.end(), jobs);
    m_changed.notify_one();
    return Pushed::Queued;
}

bool WorkQueue::take(Jobs& jobs) {
    std::unique_lock lock(m_mutex);
    m_served = true;
    m_changed.wait(lock, [this] { return !m_open || !m_jobs.empty(); });
    if (!m_open) {
        m_served = false;
        m_changed.notify_all();
        return false;
    }
    jobs.splice(jobs.end(), m_jobs, m_jobs.begin());
    m_bytes -= bytesOf(jobs.front());
    return true;
}

void WorkQueue::serve() {
    becomeWorker();
    Jobs jobs;
    while (take(jobs)) {
        const size_t bytes = bytesOf(jobs.front());
        run(jobs.front());
        jobs.clear();
        bytesHeld -= bytes;
    }
}

void WorkQueue::open() {
    const std::lock_guard lock(m_mutex);
    m_open = true;
}

void WorkQueue::close() {
    Jobs dropped;
    std::unique_lock lock(m_mutex);
    m_open = false;
    dropped.swap(m_jobs);
    bytesHeld -= m_bytes;
    m_bytes = 0;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_served; });
}

size_t WorkQueue::waiting() const {
    const std::lock_guard lock(m_mutex);
    return m_jobs.size();
}

size_t WorkQueue::waiting(std::string_view name) const {
    const std::lock_guard lock(m_mutex);
    return static_cast<size_t>(std::ranges::count(m_jobs, name, &Job::name));
}

} // namespace pm::host
