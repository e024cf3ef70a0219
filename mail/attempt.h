// Shared by the four senders: the rule of the second attempt, and the steps that each
// sender calls in its own order.
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

// MSE compatibility, one flag for each sender: with 1, an address as the greeting's
// domain is sent without brackets. 0 at start, toggled before each second attempt, and
// kept for the next mail.
using CompatibilityFlag = std::atomic<uint8_t>;
extern CompatibilityFlag bMseCompatSendEmail;
extern CompatibilityFlag bMseCompatTestEmail;
extern CompatibilityFlag bMseCompatAlertEmail;
extern CompatibilityFlag bMseCompatGenericEmail;

// Protects the two files that the senders share: locked before the message is opened,
// and unlocked after it has been removed.
extern std::mutex mailFileLock;

// The data of one attempt. The next attempt reads everything again.
struct Attempt {
    const char* sender; // operation name in log lines
    const char* messagePath = MESSAGE_PATH;
    const char* relayConfigPath = RELAY_CONFIG_PATH;
    Text<255> senderAddress = {};
    EmailEndpoint endpoint = {};
    EmailConfigArgs config = {};
    Text<765> line = {}; // for each header line, then for the command line
};

// How an attempt ends.
struct Ending {
    int32_t status;
    enum class Next : uint8_t {
        Sent,   // the relay took the mail
        Retry,  // a first attempt is followed by a second
        GiveUp, // no second attempt, and no exit line in the log
    } next;
};

constexpr Ending sent() {
    return {0, Ending::Next::Sent};
}
constexpr Ending retry(int32_t status) {
    return {status, Ending::Next::Retry};
}
constexpr Ending giveUp(int32_t status) {
    return {status, Ending::Next::GiveUp};
}

// Makes at most two attempts and returns the Ending of the last one. Toggles the flag
// between them.
template <typename AttemptOnce>
Ending makeAttempts(CompatibilityFlag& flag, AttemptOnce attemptOnce) {
    const Ending first = attemptOnce();
    if (first.next != Ending::Next::Retry)
        return first;
    flag.fetch_xor(1);
    return attemptOnce();
}

// Logs an error with the destination and the status, unless the mail was sent.
void logFailedMail(const char* sender, std::string_view destination, const Ending& end);

// The message file, truncated and open for writing. At the end of its scope it is closed
// and, with AtEnd::Remove, removed. A file that could not be opened is not removed.
class MessageFile {
  public:
    enum class AtEnd : uint8_t { Remove, Keep };

    MessageFile(const char* path, AtEnd atEnd);
    ~MessageFile();
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;

    bool isOpen() const { return m_file != nullptr; }
    // False, with errno, if text is not written as a whole. Logs the first such failure: some
    // senders send the message nevertheless.
    bool write(std::string_view text);
    void close() { m_file.reset(); }
    void keep() { m_atEnd = AtEnd::Keep; }

  private:
    const char* m_path;
    FileOwner m_file;
    AtEnd m_atEnd;
    bool m_failed = false;
};

// Logs the start of an attempt and the flag's value.
void logCompatibility(const Attempt& attempt, const CompatibilityFlag& flag);

// Reads the server address. If it cannot be read, logs that and returns false.
bool readServerAddress(Attempt& attempt);

// Writes the relay configuration of the attempt. On failure reports it and returns false.
bool writeRelayConfig(Attempt& attempt, const CompatibilityFlag& flag);

// Writes the Date line; a failed write is ignored.
void writeDateLine(Attempt& attempt, MessageFile& message);

// Composes the From line in attempt.line: with the sender address, or with the fallback
// if no sender address is set.
enum class FromFallback : uint8_t { HostAtDomain, HostAlone };
void composeFromLine(Attempt& attempt, FromFallback fallback);

// Composes "<label>: <value>\n" in attempt.line, cut to bound bytes with its terminator.
// Line ends in value become blanks. Returns the length without the cut.
int composeHeader(Attempt& attempt, const char* label, std::string_view value,
                  size_t bound = decltype(Attempt::line)::capacity());

// Composes a header line and writes it. False if it could not be written.
bool writeHeader(Attempt& attempt, MessageFile& message, const char* label, std::string_view value);

inline constexpr std::string_view CONTENT_TYPE_LINE = "Content-type: text/plain\n\n";

// Writes the body and, if that succeeds, the two line feeds that end the message.
void writeBody(MessageFile& message, std::string_view body);

// Runs the relay with the attempt's two files. Returns the command's result; 0 means that
// the relay accepted the mail.
int runRelay(Attempt& attempt);

} // namespace pm
