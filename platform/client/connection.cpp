#include "platform/client/connection.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace pm::client {

namespace {

constexpr const char* MONITOR_ENDPOINT = "inproc://monitor";
constexpr int MONITORED =
    ZMQ_EVENT_CONNECT_RETRIED | ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_DISCONNECTED;

void setOption(void* socket, int option, int value) {
    zmq_setsockopt(socket, option, &value, sizeof value);
}

// Milliseconds until end, -1 without one. Rounded up, so that the last one is waited for
// instead of polled.
long left(std::chrono::steady_clock::time_point end) {
    using namespace std::chrono;
    if (end == steady_clock::time_point::max())
        return -1;
    const auto rest = ceil<milliseconds>(end - steady_clock::now()).count();
    return static_cast<long>(std::clamp<int64_t>(rest, 0, INT_MAX));
}

std::chrono::steady_clock::time_point after(std::chrono::milliseconds limit) {
    return std::chrono::steady_clock::now() + limit;
}

} // namespace

Connection::Connection(std::string endpoint) : m_endpoint(std::move(endpoint)) {}

Connection::~Connection() {
    close();
    if (m_context != nullptr)
        zmq_ctx_term(m_context);
}

void Connection::close() {
    // Stop the monitor's events first: libzmq never frees an event that is half written
    // when the monitor closes.
    if (m_socket != nullptr) {
        zmq_socket_monitor(m_socket, nullptr, 0);
        zmq_close(m_socket);
    }
    if (m_monitor != nullptr)
        zmq_close(m_monitor);
    m_socket = m_monitor = nullptr;
    m_reached = false;
}

Outcome Connection::open(int type, std::string_view subscription) {
    if (m_socket != nullptr)
        return Outcome::Answered;
    if (m_context == nullptr)
        m_context = zmq_ctx_new();
    if (m_context != nullptr) {
        m_socket = zmq_socket(m_context, type);
        m_monitor = zmq_socket(m_context, ZMQ_PAIR);
    }
    if (m_socket == nullptr || m_monitor == nullptr) {
        close();
        return Outcome::NoMemory;
    }
    setOption(m_socket, ZMQ_LINGER, 0);
    setOption(m_monitor, ZMQ_LINGER, 0);
    const int64_t limit = TRANSPORT_LIMIT;
    zmq_setsockopt(m_socket, ZMQ_MAXMSGSIZE, &limit, sizeof limit);
    if (type == ZMQ_SUB)
        zmq_setsockopt(m_socket, ZMQ_SUBSCRIBE, subscription.data(), subscription.size());
    if (zmq_socket_monitor(m_socket, MONITOR_ENDPOINT, MONITORED) != 0 ||
        zmq_connect(m_monitor, MONITOR_ENDPOINT) != 0 ||
        zmq_connect(m_socket, m_endpoint.c_str()) != 0) {
        close();
        return Outcome::NotReached;
    }
    return Outcome::Answered;
}

// Reads the monitor's events. False if the connection could not be made or has ended.
bool Connection::readMonitorEvents() {
    Frames frames;
    while (receiveFrames(m_monitor, FRAME_LIMIT, frames) == Received::Whole) {
        uint16_t event = 0;
        if (frames[0].size() >= sizeof event)
            std::memcpy(&event, frames[0].data(), sizeof event);
        if (event == ZMQ_EVENT_HANDSHAKE_SUCCEEDED)
            m_reached = true;
        else if (event == ZMQ_EVENT_CONNECT_RETRIED || event == ZMQ_EVENT_DISCONNECTED)
            return false;
    }
    return true;
}

// Waits for one message. On any failure the connection is closed, so that a late answer
// cannot arrive for a later request.
Outcome Connection::wait(Time end, Frames& frames) {
    for (;;) {
        zmq_pollitem_t items[] = {{m_socket, 0, ZMQ_POLLIN, 0}, {m_monitor, 0, ZMQ_POLLIN, 0}};
        const int ready = zmq_poll(items, 2, left(end));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            close();
            return Outcome::TimedOut;
        }
        // A message that arrived before the connection ended is valid.
        if (receiveFrames(m_socket, SIZE_MAX, frames) == Received::Whole)
            return Outcome::Answered;
        if (!readMonitorEvents()) {
            const Outcome outcome = m_reached ? Outcome::Lost : Outcome::NotReached;
            close();
            return outcome;
        }
    }
}

Outcome Connection::request(const Request& request, std::chrono::milliseconds limit, Reply& reply) {
    const Time end = after(limit);
    // Reconnect if the connection has ended since the last request.
    if (m_socket != nullptr && !readMonitorEvents())
        close();
    Outcome outcome = open(ZMQ_DEALER);
    if (outcome != Outcome::Answered)
        return outcome;
    const std::string tag = std::to_string(++m_tag);
    Frames frames = encodeRequest(request, tag);
    if (!sendFrames(m_socket, frames)) {
        close();
        return Outcome::NoMemory;
    }
    for (;;) {
        outcome = wait(end, frames);
        if (outcome != Outcome::Answered)
            return outcome;
        if (std::optional<Reply> answer = decodeReply(frames, tag)) {
            reply = std::move(*answer);
            return Outcome::Answered;
        }
    }
}

Outcome Connection::listen(std::optional<std::chrono::milliseconds> limit, Frames& frames,
                           std::string_view subscription) {
    const Outcome outcome = open(ZMQ_SUB, subscription);
    if (outcome != Outcome::Answered)
        return outcome;
    return wait(limit ? after(*limit) : Time::max(), frames);
}

} // namespace pm::client
