#include <sys/types.h>

#include "common/records.h"
#include "common/status.h"
#include "config/read.h"
#include "mail/alert_destination.h"
#include "mail/attempt.h"
#include "mail/footer.h"
#include "mail/functions.h"
#include "mail/sender_address.h"
#include "mail/under_way.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* SENDER = "sendAlertEmail";

bool readConfiguredTexts(int32_t index, Text<255>& subject, Text<255>& destination) {
    const AlertDestination* keys = findAlertDestination(index);
    return keys != nullptr && readSetting(keys->subjectKey, subject) &&
           readSetting(keys->destinationKey, destination);
}

Ending attemptOnce(uint32_t request_size, AlertEmailStruct* request, Text<255>& destination,
                   bool& footerAppended) {
    Attempt attempt{.sender = SENDER};
    Text<255> subject;
    logCompatibility(attempt, bMseCompatAlertEmail);
    getSenderEmail(attempt.senderAddress);
    if (!readServerAddress(attempt))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    if (request == nullptr) {
        PM_LOG_AS(SENDER, "pAlertEmailStruct is NULL, returning VESK_ERROR_INVALID_PARAMETER\n");
        return giveUp(VESK_ERROR_INVALID_PARAMETER);
    }
    if (request_size < sizeof(AlertEmailStruct)) {
        PM_LOG_AS(
            SENDER,
            "request_size less than sizeof(AlertEmailStruct), returning VESK_ERROR_INVALID_PARAMETER\n");
        return retry(VESK_ERROR_INVALID_PARAMETER);
    }
    if (gatherEmailEndpoint(attempt.endpoint, {.sender = SENDER}) < 0)
        return giveUp(VESK_ERROR_GENERAL);
    const bool bPresence = readPresence();
    const bool textsRead = readConfiguredTexts(request->index, subject, destination);
    if (getEmailConfigArgs(attempt.config) < 0)
        return giveUp(VESK_ERROR_INVALID_PARAMETER);

    const std::lock_guard<std::mutex> lock(mailFileLock);
    if (!textsRead) // tested only here: the failures above come first
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    MessageFile message(attempt.messagePath, MessageFile::AtEnd::Remove);
    if (!message.isOpen())
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    writeDateLine(attempt, message);
    if (!writeRelayConfig(attempt, bMseCompatAlertEmail))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    composeFromLine(attempt, FromFallback::HostAlone);
    if (message.write(attempt.line.view())) { // on failure, only the Date line is sent
        if (!writeHeader(attempt, message, "To", destination.view()) ||
            !writeHeader(attempt, message, "Subject", subject.view()) ||
            !message.write(CONTENT_TYPE_LINE))
            return retry(VESK_ERROR_FILE_ACCESS_FAIL);
        writeBody(message,
                  appendFooter(request->szBody, attempt.endpoint, bPresence, footerAppended));
    }
    message.close();

    const int result = runRelay(attempt);
    PM_LOG_AS(SENDER, "nReturn=[%zd]\n", static_cast<ssize_t>(result));
    log_rlog(0, destination.c_str());
    return result == 0 ? sent() : retry(VESK_ERROR_GENERAL);
}

} // namespace

int32_t sendAlertEmail(uint32_t request_size, void* pAlertEmailStruct) {
    PM_LOG_WHOLE("[%d]:  Entering %s()\n");
    Text<255> destination;
    bool footerAppended = false;
    const MailUnderWay underWay;
    const Ending end = makeAttempts(bMseCompatAlertEmail, [&] {
        destination.clear();
        return attemptOnce(request_size, static_cast<AlertEmailStruct*>(pAlertEmailStruct),
                           destination, footerAppended);
    });
    logFailedMail(SENDER, destination.view(), end);
    if (end.next != Ending::Next::GiveUp)
        PM_LOG_WHOLE("[%d]:  Exiting %s()\n");
    return end.status;
}

} // namespace pm
