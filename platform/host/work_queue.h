// Work that waits for one thread, bounded in number and, all queues together, in
// bytes.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/distribution.h"
#include "platform/function_manager.h"
#include "platform/host/outbox.h"
#include "platform/host/record.h"

namespace pm::host {

inline constexpr size_t WAITING_LIMIT = 512;                // jobs of one queue
inline constexpr size_t WAITING_BYTES = size_t{256} << 20U; // of all queues together

struct Job {
    void (*run)(Job& job) = nullptr;
    Caller caller;
    std::string name;  // function, topic or key
    std::string value; // of a key
    Record record;
    jelmux_function_handler handler = nullptr;
    std::vector<qornc_event_callback> callbacks;
};
using Jobs = std::list<Job>;

enum class Pushed : uint8_t { Queued, Full, NoRoom, Closed };

// Whether a job of any queue waits or runs.
bool jobsAreHeld();

class WorkQueue {
  public:
    explicit WorkQueue(size_t limit = WAITING_LIMIT) : m_limit(limit) {}

    // Takes jobs' only job, and leaves it there if it is not queued. An own one is
    // not counted: it follows from work that was.
    Pushed push(Jobs& jobs, bool own = false);

    // Runs what is pushed, one at a time, until the queue is closed.
    void serve();
    void open();
    // Drops what waits, and returns when serve is over with the job that runs.
    void close();

    // Jobs that wait, all or those of one name; the one that runs is not among them.
    size_t waiting() const;
    size_t waiting(std::string_view name) const;

  private:
    bool take(Jobs& jobs);

    const size_t m_limit;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    Jobs m_jobs;
    size_t m_bytes = 0; // of m_jobs
    bool m_open = true;
    bool m_served = false;
};

} // namespace pm::host
