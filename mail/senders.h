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

inline constexpr Failure NOT_POSSIBLE = {0, Effect::NotPossible};
inline constexpr Failure GOES_ON = {0, Effect::GoesOn};
inline constexpr Failure TO_RELAY = {0, Effect::ToRelay};

// The failures of an attempt, in the order of its steps.
struct Failures {
    Failure serverAddressUnreadable;
    Failure nullRequest;
    Failure shortRequest;
    Failure domainLiteral;
    Failure ownRead; // acted on once the lock is taken
    Failure emailConfig;
    Failure messageOpen;
    Failure relayConfig;
    Failure dateLine;
    Failure fromLine;
    Failure headerLine; // To, Subject, Content-type
    Failure bodyBuffer;
    Failure body;
    Failure relay;
};

enum class ServerAddressWords : uint8_t { CouldNotGet, FailedReturningStatus };
enum class FromFallback : uint8_t { HostAtDomain, HostAlone };

struct Sender {
    const char* name; // in its log lines
    CompatibilityFlag* compatibility;

    const char* messagePath;
    const char* relayConfigPath;
    bool takesLock;      // mailFileLock, from the opening of the message to its removal
    bool removesMessage; // after each attempt; else the sender removes both files at its end
    bool dateFirst;      // the Date line comes before the relay configuration
    bool hostnameLater;  // GetHostname waits for the moment before WriteEmailConfig
    FromFallback fromFallback;
    size_t headerBound; // bytes of the To and Subject lines, with terminator

    uint32_t smallestRequest; // 0: has no request
    const char* requestType;  // in the lines that refuse a request

    // What it logs beside the lines that all senders have.
    ServerAddressWords serverAddressWords;
    bool logsCompatibility;  // at each attempt
    bool logsDomainName;     // after trimming
    bool logsDomainFallback; // when the literal stands in for the domain name
    bool logsNeededSize;     // a second line for a short request
    bool logsOpenFailure;
    bool logsFromLine;
    bool logsHeaderFailure;    // a header line that could not be composed or written
    int longestUnloggedHeader; // a longer To or Subject line is logged as cut; 0: never
    bool logsExit;             // when the second-attempt rule ends the call

    // Hooks, null where there is nothing to do.
    // Own reads of configuration, and the request's texts; false is ownRead.
    bool (*readOwn)(Mail& mail);
    // Gives the body that goes out in place of mail.body; nothing is bodyBuffer.
    std::optional<std::string_view> (*composeBody)(Mail& mail, const EmailEndpoint& endpoint);
    // Right behind the relay run, with its result, the lock still held.
    void (*afterRelay)(const Mail& mail, int result);

    Failures failures;
};

extern const Sender senderOfSendEmail;
extern const Sender senderOfTestEmail;
extern const Sender senderOfAlertEmail;
extern const Sender senderOfGenericEmail;
