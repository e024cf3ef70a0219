#include <sys/types.h>

#include "common/records.h"
#include "mail/alert_destination.h"
#include "mail/attempt.h"
#include "mail/functions.h"
#include "mail/sender_hooks.h"
#include "platform/logging.h"
#include "platform/read.h"

bool bindAlertRequest(Mail& mail) {
    auto* request = static_cast<AlertEmailStruct*>(mail.request);
    mail.bodyField = request->szBody;
    readPresence(mail);
    const AlertDestination* keys = findAlertDestination(request->index);
    if (keys == nullptr || !readSetting(keys->subjectKey, mail.configuredSubject) ||
        !readSetting(keys->destinationKey, mail.configuredDestination))
        return false;
    mail.subject = mail.configuredSubject.view();
    mail.destination = mail.configuredDestination.view();
    return true;
}

void logAlertResult(const Mail& mail, int result) {
    PM_LOG_AS("sendAlertEmail", "[%d]: %s() - nReturn=[%zd]\n", static_cast<ssize_t>(result));
    log_rlog(0, mail.configuredDestination.c_str());
}

int32_t sendAlertEmail(uint32_t request_size, void* pAlertEmailStruct) {
    return sendRequest(senderOfAlertEmail, request_size, pAlertEmailStruct);
}
