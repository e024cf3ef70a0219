#include "mail/senders.h"

#include "common/records.h"
#include "mail/sender_hooks.h"

CompatibilityFlag bMseCompatSendEmail{0};
CompatibilityFlag bMseCompatTestEmail{0};
CompatibilityFlag bMseCompatAlertEmail{0};
CompatibilityFlag bMseCompatGenericEmail{0};

constexpr Sender senderOfSendEmail = {
    .name = "sendEmail",
    .compatibility = &bMseCompatSendEmail,
    .serverAddressWords = ServerAddressWords::CouldNotGet,
    .logsDomainName = false,
    .logsDomainFallback = true,
    .logsOpenFailure = true,
    .readOwn = readDnsRegister,
    .composeBody = composeEmailBody,
    .afterRelay = logEmailResult,
    .failures =
        {
            .serverAddressUnreadable = retriedAs(VESK_ERROR_FILE_ACCESS_FAIL),
            .fromLine = GOES_ON,
            .headerLine = GOES_ON,
            .bodyBuffer = finalAs(PM_ERROR_NO_BODY_BUFFER),
            .body = GOES_ON,
        },
};

constexpr Sender senderOfTestEmail = {
    .name = "sendTestEmail",
    .compatibility = &bMseCompatTestEmail,
    .smallestRequest = sizeof(TestEmailStruct),
    .requestType = "TestEmailStruct",
    .logsFromLine = true,
    .logsHeaderFailure = true,
    .readOwn = bindTestRequest,
    .composeBody = appendFooter,
    .afterRelay = logTestResult,
    .failures =
        {
            .nullRequest = finalAs(VESK_ERROR_INVALID_PARAMETER),
            .shortRequest = retriedAs(VESK_ERROR_INVALID_PARAMETER),
            .fromLine = retriedAs(VESK_ERROR_FILE_ACCESS_FAIL),
        },
};

constexpr Sender senderOfAlertEmail = {
    .name = "sendAlertEmail",
    .compatibility = &bMseCompatAlertEmail,
    .dateFirst = true,
    .fromFallback = FromFallback::HostAlone,
    .smallestRequest = sizeof(AlertEmailStruct),
    .requestType = "AlertEmailStruct",
    .readOwn = bindAlertRequest,
    .composeBody = appendFooter,
    .afterRelay = logAlertResult,
    .failures =
        {
            .nullRequest = finalAs(VESK_ERROR_INVALID_PARAMETER),
            .shortRequest = retriedAs(VESK_ERROR_INVALID_PARAMETER),
            .ownRead = retriedAs(VESK_ERROR_FILE_ACCESS_FAIL),
        },
};

constexpr Sender senderOfGenericEmail = {
    .name = "pthread_sendGenericEmail",
    .compatibility = &bMseCompatGenericEmail,
    .messagePath = "/tmp/zorqgenericemail",
    .takesLock = false,
    .removesMessage = false,
    .dateFirst = true,
    .hostnameLater = true,
    .headerBound = 255,
    .smallestRequest = sizeof(GenericEmailStruct),
    // Its lines name the alert record's type: the text that operators know.
    .requestType = "AlertEmailStruct",
    .logsCompatibility = false,
    .logsNeededSize = true,
    .longestUnloggedHeader = 318,
    .logsExit = false,
    .readOwn = bindGenericRequest,
    .afterRelay = logGenericResult,
    .failures =
        {
            .shortRequest = finalAs(VESK_ERROR_INVALID_PARAMETER),
            .ownRead = NOT_POSSIBLE,
        },
};
