// Messages of pm's two sockets, and of services that pm calls, which use the same
// format; see docs/request-socket.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>
#include <zmq.h>

namespace pm::client {

inline constexpr std::string_view WIRE_VERSION = "pm/1";
// Subscription to log lines. The one to events is WIRE_VERSION.
inline constexpr std::string_view LOG_SUBSCRIPTION = "log/1";

// Maximum bytes of a message, all frames together.
inline constexpr size_t MESSAGE_LIMIT = size_t{64} << 20U;
// Maximum bytes of a frame for ZeroMQ, which closes the connection above it. Larger than
// MESSAGE_LIMIT, so that pm can refuse a message instead of losing the connection.
inline constexpr int64_t TRANSPORT_LIMIT = int64_t{80} << 20U;
inline constexpr size_t TAG_LIMIT = 64;   // bytes
inline constexpr size_t NAME_LIMIT = 255; // bytes of a function, topic or key
inline constexpr size_t FRAME_LIMIT = 8;

// Endpoints of the sockets; runFolder is run/pm below pm's root.
std::string requestEndpoint(std::string_view runFolder);
std::string eventsEndpoint(std::string_view runFolder);

// Owner of one frame.
class Frame {
  public:
    Frame() { zmq_msg_init(&m_message); }
    // A frame of size bytes, not initialised. Not valid() if memory is exhausted.
    explicit Frame(size_t size) : m_valid(zmq_msg_init_size(&m_message, size) == 0) {
        if (!m_valid)
            zmq_msg_init(&m_message);
    }
    explicit Frame(std::string_view text);
    Frame(Frame&& other) noexcept : m_valid(other.m_valid) {
        zmq_msg_init(&m_message);
        zmq_msg_move(&m_message, &other.m_message);
    }
    Frame& operator=(Frame&& other) noexcept {
        zmq_msg_move(&m_message, &other.m_message);
        m_valid = other.m_valid;
        return *this;
    }
    ~Frame() { zmq_msg_close(&m_message); }

    bool valid() const { return m_valid; }
    char* data() { return static_cast<char*>(zmq_msg_data(&m_message)); }
    size_t size() const { return zmq_msg_size(&m_message); }
    std::string_view view() { return {data(), size()}; }
    zmq_msg_t* message() { return &m_message; }

  private:
    zmq_msg_t m_message;
    bool m_valid = true;
};
using Frames = std::vector<Frame>;

enum class Received : uint8_t {
    Nothing, // no message is waiting, or the socket is closed
    Whole,
    TooLarge,      // read completely; frames has those within the limits
    TooManyFrames, // the same
};
// Receives one message without waiting.
Received receiveFrames(void* socket, size_t frameLimit, Frames& frames);
// Sends one message without waiting, which empties its frames. False: it could not be
// queued, and errno is set; if it is ENOMEM or EAGAIN, the frames are as before.
bool sendFrames(void* socket, std::span<Frame> frames);

struct Request {
    std::string verb;
    std::vector<std::string> arguments;
    std::optional<std::string_view> payload; // none: no payload frame
};
size_t messageSize(const Request& request);
Frames encodeRequest(const Request& request, std::string_view tag);

enum class ReplyKind : uint8_t {
    Done,    // fields: the verb's results
    Status,  // fields: the number that the handler or callback returned
    Refused, // fields: a code and a text
};
struct Reply {
    ReplyKind kind = ReplyKind::Refused;
    std::vector<std::string> fields;
};
Reply statusReply(int32_t status);
Reply refusal(std::string_view code, std::string_view text);
// The number of a status reply; none for another reply or an invalid number.
std::optional<int32_t> replyStatus(const Reply& reply);

// Appends the reply's frames to those present, such as the peer's identity.
void encodeReply(const Reply& reply, Frame tag, Frames& frames);
// None if it is not a valid reply of this version with this tag.
std::optional<Reply> decodeReply(Frames& frames, std::string_view tag);

} // namespace pm::client
