#include <cerrno>
#include <cstring>

#include "common/records.h"
#include "common/status.h"
#include "mail/attempt.h"
#include "mail/footer.h"
#include "mail/functions.h"
#include "mail/sender_address.h"
#include "mail/under_way.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* SENDER = "sendTestEmail";

// The destination; empty if the request is null or too short.
std::string_view destinationOf(uint32_t request_size, const TestEmailStruct* request) {
    if (request == nullptr || request_size < sizeof(TestEmailStruct))
        return "";
    return fieldText(request->szTo, sizeof request->szTo);
}

bool writeLine(MessageFile& message, std::string_view line) {
    if (message.write(line))
        return true;
    PM_LOG_AS(SENDER, "text could not be written to the output file\n");
    return false;
}

bool writeField(Attempt& attempt, MessageFile& message, const char* label, std::string_view value) {
    const int length = composeHeader(attempt, label, value);
    if (length < 0)
        PM_LOG_AS(SENDER, "Failed in snprintf! (%d)\n", length);
    return writeLine(message, attempt.line.view());
}

Ending attemptOnce(uint32_t request_size, TestEmailStruct* request, bool& footerAppended) {
    Attempt attempt{.sender = SENDER};
    logCompatibility(attempt, bMseCompatTestEmail);
    getSenderEmail(attempt.senderAddress);
    if (!readServerAddress(attempt))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    if (request == nullptr) {
        PM_LOG_AS(SENDER, "pTestEmailStruct is NULL, returning VESK_ERROR_INVALID_PARAMETER\n");
        return giveUp(VESK_ERROR_INVALID_PARAMETER);
    }
    if (request_size < sizeof(TestEmailStruct)) {
        PM_LOG_AS(
            SENDER,
            "request_size less than sizeof(TestEmailStruct), returning VESK_ERROR_INVALID_PARAMETER\n");
        return retry(VESK_ERROR_INVALID_PARAMETER);
    }
    if (gatherEmailEndpoint(attempt.endpoint, {.sender = SENDER}) < 0)
        return giveUp(VESK_ERROR_GENERAL);
    const bool bPresence = readPresence();
    if (getEmailConfigArgs(attempt.config) < 0)
        return giveUp(VESK_ERROR_INVALID_PARAMETER);

    const std::lock_guard<std::mutex> lock(mailFileLock);
    MessageFile message(attempt.messagePath, MessageFile::AtEnd::Remove);
    if (!message.isOpen())
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    if (!writeRelayConfig(attempt, bMseCompatTestEmail))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    writeDateLine(attempt, message);
    composeFromLine(attempt, FromFallback::HostAtDomain);
    PM_LOG_AS(SENDER, "from entry: %s\n", attempt.line.c_str());
    if (!writeLine(message, attempt.line.view()) ||
        !writeField(attempt, message, "To", destinationOf(request_size, request)) ||
        !writeField(attempt, message, "Subject",
                    fieldText(request->szSubject, sizeof request->szSubject)) ||
        !writeLine(message, CONTENT_TYPE_LINE))
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    writeBody(message, appendFooter(request->szBody, attempt.endpoint, bPresence, footerAppended));
    message.close();

    const int result = runRelay(attempt);
    const int error = errno;
    PM_LOG_AS(SENDER, "test email system call result: %d\n", result);
    if (result == 0)
        return sent();
    PM_LOG_AS(SENDER, "send test email failed, return code:%d error: %s\n", result,
              std::strerror(error));
    return retry(VESK_ERROR_GENERAL);
}

} // namespace

int32_t sendTestEmail(uint32_t request_size, void* pTestEmailStruct) {
    PM_LOG_WHOLE("[%d]:  Entering %s()\n");
    auto* request = static_cast<TestEmailStruct*>(pTestEmailStruct);
    bool footerAppended = false;
    const MailUnderWay underWay;
    const Ending end = makeAttempts(
        bMseCompatTestEmail, [&] { return attemptOnce(request_size, request, footerAppended); });
    logFailedMail(SENDER, destinationOf(request_size, request), end);
    if (end.next != Ending::Next::GiveUp)
        PM_LOG_WHOLE("[%d]:  Exiting %s()\n");
    return end.status;
}

} // namespace pm
