// Client side of the request and event sockets.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/client/wire.h"

namespace pm::client {

enum class Outcome : uint8_t {
    Answered,
    NotReached, // no process serves the endpoint
    Lost,       // the connection ended before the answer came
    TimedOut,   // no answer in time, perhaps no connection either
    NoMemory,
};

// One connection for any number of requests; if it is lost, the next request reconnects.
// Use it from one thread at a time, and either for requests or to listen.
class Connection {
  public:
    // endpoint in ZeroMQ's syntax, such as "ipc:///run/pm/requests".
    explicit Connection(std::string endpoint);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Sends a request and waits for its reply.
    Outcome request(const Request& request, std::chrono::milliseconds limit, Reply& reply);

    // Waits for the next message, without a limit forever. The first call also subscribes,
    // to events (WIRE_VERSION) or log lines (LOG_SUBSCRIPTION); the first message confirms
    // that. Later calls ignore their subscription.
    Outcome listen(std::optional<std::chrono::milliseconds> limit, Frames& frames,
                   std::string_view subscription = WIRE_VERSION);

  private:
    using Time = std::chrono::steady_clock::time_point;

    Outcome open(int type, std::string_view subscription = {});
    void close();
    Outcome wait(Time end, Frames& frames);
    bool readMonitorEvents();

    std::string m_endpoint;
    void* m_context = nullptr;
    void* m_socket = nullptr;
    void* m_monitor = nullptr;
    bool m_reached = false;
    uint64_t m_tag = 0;
};

} // namespace pm::client
