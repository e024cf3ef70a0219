// A queue of jobs that one thread runs. The number of jobs is limited for each queue, their
// bytes for all queues together.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/distribution.h"
#include "platform/function_manager.h"
#include "platform/host/outbox.h"
#include "platform/host/record.h"

namespace pm::host {

inline constexpr size_t WAITING_LIMIT = 512;                // jobs in one queue
inline constexpr size_t WAITING_BYTES = size_t{256} << 20U; // in all queues together

struct Job {
    void (*run)(Job& job) = nullptr;
    Caller caller;
    std::string name;  // function, topic or key
    std::string value; // for a key
    Record record;
    jelmux_function_handler handler = nullptr;
    std::vector<qornc_event_callback> callbacks;
    std::unique_ptr<Job> next; // in its queue: a job is queued without allocating
};

enum class JobLimit : uint8_t { Enforced, Skipped };
enum class Pushed : uint8_t { Queued, Full, NoRoom, Closed };

// Whether any queue has a waiting or running job.
bool jobsAreHeld();

class WorkQueue {
  public:
    explicit WorkQueue(size_t limit = WAITING_LIMIT) : m_limit(limit) {}

    // Moves the job into the queue; on failure the caller keeps it. Internal jobs skip the limit
    // on jobs, as they follow from work that was admitted already.
    Pushed push(std::unique_ptr<Job>& job, JobLimit limit = JobLimit::Enforced);

    // Runs the jobs, one at a time, until the queue is closed.
    void serve();
    void open();
    // Drops waiting jobs, and waits until serve() has finished the running one.
    void close();

    // Number of waiting jobs, all or those with a name; excludes the running one.
    size_t waiting() const;
    size_t waiting(std::string_view name) const;

  private:
    std::unique_ptr<Job> take();

    const size_t m_limit;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::unique_ptr<Job> m_first;
    Job* m_last = nullptr; // valid unless m_first is null
    size_t m_count = 0;
    size_t m_bytes = 0; // of the waiting jobs
    bool m_open = true;
    bool m_served = false;
};

} // namespace pm::host
