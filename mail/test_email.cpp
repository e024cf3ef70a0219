#include <cerrno>
#include <cstring>

#include "common/records.h"
#include "mail/attempt.h"
#include "mail/functions.h"
#include "mail/sender_hooks.h"
#include "platform/logging.h"

namespace {

constexpr const char* OPERATION = "sendTestEmail";

} // namespace

bool bindTestRequest(Mail& mail) {
    auto* request = static_cast<TestEmailStruct*>(mail.request);
    mail.destination = fieldText(request->szTo, sizeof request->szTo);
    mail.subject = fieldText(request->szSubject, sizeof request->szSubject);
    mail.bodyField = request->szBody;
    readPresence(mail);
    return true;
}

void logTestResult(const Mail&, int result) {
    const int error = errno;
    PM_LOG_AS(OPERATION, "[%d]: %s() - test email system call result: %d\n", result);
    if (result != 0)
        PM_LOG_AS(OPERATION, "[%d]: %s() - send test email failed, return code:%d error: %s\n",
                  result, std::strerror(error));
}

int32_t sendTestEmail(uint32_t request_size, void* pTestEmailStruct) {
    return sendRequest(senderOfTestEmail, request_size, pTestEmailStruct);
}
