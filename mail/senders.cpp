#include "mail/senders.h"

#include "common/records.h"
#include "mail/sender_hooks.h"

CompatibilityFlag bMseCompatSendEmail{0};
CompatibilityFlag bMseCompatTestEmail{0};
CompatibilityFlag bMseCompatAlertEmail{0};
CompatibilityFlag bMseCompatGenericEmail{0};

namespace {

constexpr size_t LINE_SIZE = 765;

constexpr Failure retriedAs(int32_t status) {
    return {status, Effect::Retried};
}
constexpr Failure finalAs(int32_t status) {
    return {status, Effect::Final};
}

constexpr Failure RETRIED_GENERAL = retriedAs(VESK_ERROR_GENERAL);
constexpr Failure RETRIED_PARAMETER = retriedAs(VESK_ERROR_INVALID_PARAMETER);
constexpr Failure RETRIED_FILE = retriedAs(VESK_ERROR_FILE_ACCESS_FAIL);
constexpr Failure FINAL_GENERAL = finalAs(VESK_ERROR_GENERAL);
constexpr Failure FINAL_PARAMETER = finalAs(VESK_ERROR_INVALID_PARAMETER);
constexpr Failure FINAL_FILE = finalAs(VESK_ERROR_FILE_ACCESS_FAIL);

} // namespace

constexpr Sender senderOfSendEmail = {
    .name = "sendEmail",
    .compatibility = &bMseCompatSendEmail,
    .messagePath = "/tmp/zorqemail.txt",
    .relayConfigPath = "/tmp/zorqemailconfig.txt",
    .takesLock = true,
    .removesMessage = true,
    .dateFirst = false,
    .hostnameLater = false,
    .fromFallback = FromFallback::HostAtDomain,
    .headerBound = LINE_SIZE,
    .smallestRequest = 0,
    .requestType = nullptr,
    .serverAddressWords = ServerAddressWords::CouldNotGet,
    .logsCompatibility = true,
    .logsDomainName = false,
    .logsDomainFallback = true,
    .logsNeededSize = false,
    .logsOpenFailure = true,
    .logsFromLine = false,
    .logsHeaderFailure = false,
    .longestUnloggedHeader = 0,
    .logsExit = true,
    .readOwn = readDnsRegister,
    .composeBody = composeEmailBody,
    .afterRelay = logEmailResult,
    .failures =
        {
            .serverAddressUnreadable = RETRIED_FILE,
            .nullRequest = NOT_POSSIBLE,
            .shortRequest = NOT_POSSIBLE,
            .domainLiteral = FINAL_GENERAL,
            .ownRead = GOES_ON,
            .emailConfig = FINAL_PARAMETER,
            .messageOpen = RETRIED_FILE,
            .relayConfig = FINAL_FILE,
            .dateLine = GOES_ON,
            .fromLine = GOES_ON,
            .headerLine = GOES_ON,
            .bodyBuffer = finalAs(PM_ERROR_NO_BODY_BUFFER),
            .body = GOES_ON,
            .relay = RETRIED_GENERAL,
        },
};

constexpr Sender senderOfTestEmail = {
    .name = "sendTestEmail",
    .compatibility = &bMseCompatTestEmail,
    .messagePath = "/tmp/zorqemail.txt",
    .relayConfigPath = "/tmp/zorqemailconfig.txt",
    .takesLock = true,
    .removesMessage = true,
    .dateFirst = false,
    .hostnameLater = false,
    .fromFallback = FromFallback::HostAtDomain,
    .headerBound = LINE_SIZE,
    .smallestRequest = sizeof(TestEmailStruct),
    .requestType = "TestEmailStruct",
    .serverAddressWords = ServerAddressWords::FailedReturningStatus,
    .logsCompatibility = true,
    .logsDomainName = true,
    .logsDomainFallback = false,
    .logsNeededSize = false,
    .logsOpenFailure = false,
    .logsFromLine = true,
    .logsHeaderFailure = true,
    .longestUnloggedHeader = 0,
    .logsExit = true,
    .readOwn = bindTestRequest,
    .composeBody = appendFooter,
    .afterRelay = logTestResult,
    .failures =
        {
            .serverAddressUnreadable = FINAL_FILE,
            .nullRequest = FINAL_PARAMETER,
            .shortRequest = RETRIED_PARAMETER,
            .domainLiteral = FINAL_GENERAL,
            .ownRead = GOES_ON,
            .emailConfig = FINAL_PARAMETER,
            .messageOpen = RETRIED_FILE,
            .relayConfig = FINAL_FILE,
            .dateLine = GOES_ON,
            .fromLine = RETRIED_FILE,
            .headerLine = RETRIED_FILE,
            .bodyBuffer = NOT_POSSIBLE,
            .body = TO_RELAY,
            .relay = RETRIED_GENERAL,
        },
};

constexpr Sender senderOfAlertEmail = {
    .name = "sendAlertEmail",
    .compatibility = &bMseCompatAlertEmail,
    .messagePath = "/tmp/zorqemail.txt",
    .relayConfigPath = "/tmp/zorqemailconfig.txt",
    .takesLock = true,
    .removesMessage = true,
    .dateFirst = true,
    .hostnameLater = false,
    .fromFallback = FromFallback::HostAlone,
    .headerBound = LINE_SIZE,
    .smallestRequest = sizeof(AlertEmailStruct),
    .requestType = "AlertEmailStruct",
    .serverAddressWords = ServerAddressWords::FailedReturningStatus,
    .logsCompatibility = true,
    .logsDomainName = true,
    .logsDomainFallback = false,
    .logsNeededSize = false,
    .logsOpenFailure = false,
    .logsFromLine = false,
    .logsHeaderFailure = false,
    .longestUnloggedHeader = 0,
    .logsExit = true,
    .readOwn = bindAlertRequest,
    .composeBody = appendFooter,
    .afterRelay = logAlertResult,
    .failures =
        {
            .serverAddressUnreadable = FINAL_FILE,
            .nullRequest = FINAL_PARAMETER,
            .shortRequest = RETRIED_PARAMETER,
            .domainLiteral = FINAL_GENERAL,
            .ownRead = RETRIED_FILE,
            .emailConfig = FINAL_PARAMETER,
            .messageOpen = RETRIED_FILE,
            .relayConfig = FINAL_FILE,
            .dateLine = GOES_ON,
            .fromLine = TO_RELAY,
            .headerLine = RETRIED_FILE,
            .bodyBuffer = NOT_POSSIBLE,
            .body = TO_RELAY,
            .relay = RETRIED_GENERAL,
        },
};

constexpr Sender senderOfGenericEmail = {
    .name = "pthread_sendGenericEmail",
    .compatibility = &bMseCompatGenericEmail,
    .messagePath = "/tmp/zorqgenericemail",
    .relayConfigPath = "/tmp/zorqemailconfig.txt",
    .takesLock = false,
    .removesMessage = false,
    .dateFirst = true,
    .hostnameLater = true,
    .fromFallback = FromFallback::HostAtDomain,
    .headerBound = 255,
    .smallestRequest = sizeof(GenericEmailStruct),
    // Its lines name the alert record's type: the text that operators know.
    .requestType = "AlertEmailStruct",
    .serverAddressWords = ServerAddressWords::FailedReturningStatus,
    .logsCompatibility = false,
    .logsDomainName = true,
    .logsDomainFallback = false,
    .logsNeededSize = true,
    .logsOpenFailure = false,
    .logsFromLine = false,
    .logsHeaderFailure = false,
    .longestUnloggedHeader = 318,
    .logsExit = false,
    .readOwn = bindGenericRequest,
    .composeBody = nullptr,
    .afterRelay = logGenericResult,
    .failures =
        {
            .serverAddressUnreadable = FINAL_FILE,
            .nullRequest = NOT_POSSIBLE,
            .shortRequest = FINAL_PARAMETER,
            .domainLiteral = FINAL_GENERAL,
            .ownRead = NOT_POSSIBLE,
            .emailConfig = FINAL_PARAMETER,
            .messageOpen = RETRIED_FILE,
            .relayConfig = FINAL_FILE,
            .dateLine = GOES_ON,
            .fromLine = TO_RELAY,
            .headerLine = RETRIED_FILE,
            .bodyBuffer = NOT_POSSIBLE,
            .body = TO_RELAY,
            .relay = RETRIED_GENERAL,
        },
};
