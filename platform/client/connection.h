// The asking side of the request socket.
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
    NotReached, // nobody serves the endpoint
    Lost,       // the other side ended, or cut the connection, before it answered
    TimedOut,   // reached or not, there was no answer in time
    NoMemory,
};

// One socket held over any number of requests; a lost connection is made anew by
// the next request. Belongs to one thread at a time.
class Connection {
  public:
    // endpoint: as ZeroMQ has it, "ipc:///run/pm/requests".
    explicit Connection(std::string endpoint);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Sends a request and waits for its reply.
    Outcome request(const Request& request, std::chrono::milliseconds limit, Reply& reply);

    // Becomes a listener instead and waits for the next message of what the other
    // side raises; the first is its word that the subscription stands. Without a
    // limit it waits as long as it takes. The subscription is to events, or to
    // log lines; that of the first call holds.
    Outcome listen(std::optional<std::chrono::milliseconds> limit, Frames& frames,
                   std::string_view subscription = WIRE_VERSION);

  private:
    using Time = std::chrono::steady_clock::time_point;

    Outcome open(int type, std::string_view subscription = {});
    void close();
    Outcome wait(Time end, Frames& frames);
    bool takeMonitored();

    std::string m_endpoint;
    void* m_context = nullptr;
    void* m_socket = nullptr;
    void* m_monitor = nullptr;
    bool m_reached = false;
    uint64_t m_tag = 0;
};

} // namespace pm::client
