// The four senders as rows of data. One attempt frame (mail/attempt.h) serves
// them all; all that tells one sender from another stands in senders.cpp.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "common/owner.h"
#include "common/status.h"
#include "common/text.h"

struct EmailEndpoint;

// MSE compatibility, one flag a sender: false at start, toggled before each
// second attempt, kept for the next mail.
using CompatibilityFlag = std::atomic<uint8_t>;
extern CompatibilityFlag bMseCompatSendEmail;
extern CompatibilityFlag bMseCompatTestEmail;
extern CompatibilityFlag bMseCompatAlertEmail;
extern CompatibilityFlag bMseCompatGenericEmail;

// One call of a sender: what it was given, and what its hooks keep over both
// attempts.
struct Mail {
    // The request as it came; a sender without one leaves both alone.
    void* request = nullptr;
    uint32_t requestSize = 0;

    // Header values and body as they go out. A sender with a request binds them
    // in its hook, once the request has passed its tests.
    std::string_view destination;
    std::string_view subject;
    std::string_view body;

    const char* fileSuffix = ""; // behind both paths: the thread id text, or nothing

    // Of sendEmail's hooks.
    int32_t nDnsRegister = 0;
    HeapOwner<char> composedBody;

    // Of the hooks of sendTestEmail and sendAlertEmail.
    char* bodyField = nullptr; // 255 bytes inside the request
    bool bPresence = false;    // chooses the footer
    bool bFooterAppended = false;
    Text<255> configuredDestination;
    Text<255> configuredSubject;
};

// What a failure does to the attempt in which it happens.
enum class Effect : uint8_t {
    NotPossible, // the sender has no such step
    GoesOn,      // the attempt does not look at it
    ToRelay,     // the message is closed as it stands, and the relay runs on it
    Retried,     // ends the attempt; the first one is followed by a second
    Final,       // ends the call
};

struct Failure {
    int32_t status;
    Effect effect;
};

constexpr Failure retriedAs(int32_t status) {
    return {status, Effect::Retried};
}
constexpr Failure finalAs(int32_t status) {
    return {status, Effect::Final};
}
inline constexpr Failure NOT_POSSIBLE = {0, Effect::NotPossible};
inline constexpr Failure GOES_ON = {0, Effect::GoesOn};
inline constexpr Failure TO_RELAY = {0, Effect::ToRelay};

// A row says what its sender does otherwise than most: the values below are those of
// a sender whose row is silent.

// The failures of an attempt, in the order of its steps.
struct Failures {
    Failure serverAddressUnreadable = finalAs(VESK_ERROR_FILE_ACCESS_FAIL);
    Failure nullRequest = NOT_POSSIBLE;
    Failure shortRequest = NOT_POSSIBLE;
    Failure domainLiteral = finalAs(VESK_ERROR_GENERAL);
    Failure ownRead = GOES_ON; // acted on once the lock is taken
    Failure emailConfig = finalAs(VESK_ERROR_INVALID_PARAMETER);
    Failure messageOpen = retriedAs(VESK_ERROR_FILE_ACCESS_FAIL);
    Failure relayConfig = finalAs(VESK_ERROR_FILE_ACCESS_FAIL);
    Failure dateLine = GOES_ON;
    Failure fromLine = TO_RELAY;
    Failure headerLine = retriedAs(VESK_ERROR_FILE_ACCESS_FAIL); // To, Subject, Content-type
    Failure bodyBuffer = NOT_POSSIBLE;
    Failure body = TO_RELAY;
    Failure relay = retriedAs(VESK_ERROR_GENERAL);
};

enum class ServerAddressWords : uint8_t { CouldNotGet, FailedReturningStatus };
enum class FromFallback : uint8_t { HostAtDomain, HostAlone };

struct Sender {
    const char* name; // in its log lines
    CompatibilityFlag* compatibility;

    const char* messagePath = "/tmp/zorqemail.txt";
    const char* relayConfigPath = "/tmp/zorqemailconfig.txt";
    bool takesLock = true;      // mailFileLock, from the opening of the message to its removal
    bool removesMessage = true; // after each attempt; else both files go at the sender's end
    bool dateFirst = false;     // the Date line comes before the relay configuration
    bool hostnameLater = false; // GetHostname waits for the moment before WriteEmailConfig
    FromFallback fromFallback = FromFallback::HostAtDomain;
    size_t headerBound = 765; // bytes of the To and Subject lines, with terminator

    uint32_t smallestRequest = 0;      // 0: has no request
    const char* requestType = nullptr; // in the lines that refuse a request

    // What it logs beside the lines that all senders have.
    ServerAddressWords serverAddressWords = ServerAddressWords::FailedReturningStatus;
    bool logsCompatibility = true;   // at each attempt
    bool logsDomainName = true;      // after trimming
    bool logsDomainFallback = false; // when the literal stands in for the domain name
    bool logsNeededSize = false;     // a second line for a short request
    bool logsOpenFailure = false;
    bool logsFromLine = false;
    bool logsHeaderFailure = false; // a header line that could not be composed or written
    int longestUnloggedHeader = 0;  // a longer To or Subject line is logged as cut; 0: never
    bool logsExit = true;           // when the second-attempt rule ends the call

    // Hooks, null where there is nothing to do.
    // Own reads of configuration, and the request's texts; false is ownRead.
    bool (*readOwn)(Mail& mail) = nullptr;
    // Gives the body that goes out in place of mail.body; nothing is bodyBuffer.
    std::optional<std::string_view> (*composeBody)(Mail& mail,
                                                   const EmailEndpoint& endpoint) = nullptr;
    // Right behind the relay run, with its result, the lock still held.
    void (*afterRelay)(const Mail& mail, int result) = nullptr;

    Failures failures = {};
};

extern const Sender senderOfSendEmail;
extern const Sender senderOfTestEmail;
extern const Sender senderOfAlertEmail;
extern const Sender senderOfGenericEmail;
