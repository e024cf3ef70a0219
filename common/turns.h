// A counting semaphore: at most a fixed number of threads hold a turn, others wait.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace pm {

struct Turns {
    explicit Turns(size_t count) : free(count) {}

    std::mutex mutex;
    std::condition_variable freed;
    size_t free;
};

// Waits for a turn and holds it for its lifetime.
class Turn {
  public:
    explicit Turn(Turns& turns) : m_turns(turns) {
        std::unique_lock<std::mutex> lock(m_turns.mutex);
        m_turns.freed.wait(lock, [this] { return m_turns.free > 0; });
        --m_turns.free;
    }
    ~Turn() {
        const std::lock_guard<std::mutex> lock(m_turns.mutex);
        ++m_turns.free;
        m_turns.freed.notify_one();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  private:
    Turns& m_turns;
};

} // namespace pm
