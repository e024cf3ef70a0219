// What the four senders share: the rule of the second attempt, and the small steps
// that each sender lists in its own order.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string_view>

#include "common/owner.h"
#include "common/text.h"
#include "mail/email_config_args.h"
#include "mail/endpoint.h"

namespace pm {

inline constexpr const char* MESSAGE_PATH = "/tmp/zorqemail.txt";
inline constexpr const char* RELAY_CONFIG_PATH = "/tmp/zorqemailconfig.txt";

// MSE compatibility, one flag a sender: false at start, toggled before each second
// attempt, kept for the next mail.
using CompatibilityFlag = std::atomic<uint8_t>;
extern CompatibilityFlag bMseCompatSendEmail;
extern CompatibilityFlag bMseCompatTestEmail;
extern CompatibilityFlag bMseCompatAlertEmail;
extern CompatibilityFlag bMseCompatGenericEmail;

// Makes the shared pair of files the property of one attempt at a time: taken before
// the message is opened, released after it has been removed.
extern std::mutex mailFileLock;

// What one attempt works on; everything is read again for each attempt.
struct Attempt {
    const char* sender; // operation name, in its log lines
    const char* messagePath = MESSAGE_PATH;
    const char* relayConfigPath = RELAY_CONFIG_PATH;
    Text<255> senderAddress = {};
    EmailEndpoint endpoint = {};
    EmailConfigArgs config = {};
    Text<765> line = {}; // every header line and the command line
};

// How an attempt ends.
struct Ending {
    int32_t status;
    enum class Next : uint8_t {
        Exit,   // the mail is sent
        Retry,  // a first attempt is followed by a second
        Return, // the call ends at once, without its exit line
    } next;
};

constexpr Ending sent() {
    return {0, Ending::Next::Exit};
}
constexpr Ending retry(int32_t status) {
    return {status, Ending::Next::Retry};
}
constexpr Ending giveUp(int32_t status) {
    return {status, Ending::Next::Return};
}

// Makes at most two attempts and returns how the last one ended. attemptOnce returns
// an Ending; between the attempts, the flag is toggled.
template <typename AttemptOnce>
Ending makeAttempts(CompatibilityFlag& flag, AttemptOnce attemptOnce) {
    const Ending first = attemptOnce();
    if (first.next != Ending::Next::Retry)
        return first;
    flag.fetch_xor(1);
    return attemptOnce();
}

// Logs as an error that the sender's mail to destination ended with a status other than 0.
void logFailedMail(const char* sender, std::string_view destination, const Ending& end);

// The message file, opened for writing and truncated. Closed at the end of its scope,
// and removed where atEnd says so; a file that could not be opened is left alone.
class MessageFile {
  public:
    enum class AtEnd : uint8_t { Remove, Keep };

    MessageFile(const char* path, AtEnd atEnd);
    ~MessageFile();
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;

    bool isOpen() const { return m_file != nullptr; }
    bool write(std::string_view text);
    void close() { m_file.reset(); }
    void keep() { m_atEnd = AtEnd::Keep; }

  private:
    const char* m_path;
    FileOwner m_file;
    AtEnd m_atEnd;
};

// Logs that the sender begins an attempt, with the flag's value.
void logCompatibility(const Attempt& attempt, const CompatibilityFlag& flag);

// Reads the server address; logs and returns false if it is unreadable.
bool readServerAddress(Attempt& attempt);

// Writes the relay's configuration for the attempt; false after a report if it failed.
bool writeRelayConfig(Attempt& attempt, const CompatibilityFlag& flag);

// Writes the Date line; whether that works has no effect.
void writeDateLine(Attempt& attempt, MessageFile& message);

// Composes the From line in attempt.line: the sender address, or the fallback if that
// is empty.
enum class FromFallback : uint8_t { HostAtDomain, HostAlone };
void composeFromLine(Attempt& attempt, FromFallback fallback);

// Composes "<label>: <value>\n" in attempt.line, cut at bound bytes with terminator.
// Returns the length that the line would have without the bound.
int composeHeader(Attempt& attempt, const char* label, std::string_view value,
                  size_t bound = decltype(Attempt::line)::capacity());

// Composes a header and writes it; false if it could not be written.
bool writeHeader(Attempt& attempt, MessageFile& message, const char* label, std::string_view value);

inline constexpr std::string_view CONTENT_TYPE_LINE = "Content-type: text/plain\n\n";

// Writes the body and the end of the message; the end is not written if the body fails.
void writeBody(MessageFile& message, std::string_view body);

// Runs the relay on the attempt's two files. Returns the command's result, 0 if the
// relay took the mail.
int runRelay(Attempt& attempt);

} // namespace pm
