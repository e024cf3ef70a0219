#include "mail/attempt.h"

#include <mutex>
#include <sys/types.h>
#include <unistd.h>

#include "common/file.h"
#include "mail/identity.h"
#include "mail/relay_config.h"
#include "platform/logging.h"
#include "platform/read.h"

namespace {

// Makes the shared pair of files the property of one attempt at a time.
std::mutex mailFileLock;

constexpr Failure SUCCESS = {0, Effect::GoesOn};

bool endsAttempt(const Failure& failure) {
    return failure.effect == Effect::Retried || failure.effect == Effect::Final;
}

void logServerAddressFailure(const Sender& sender) {
    switch (sender.serverAddressWords) {
    case ServerAddressWords::CouldNotGet:
        PM_LOG_AS(sender.name, "[%d]: %s() - could not get server address\n");
        break;
    case ServerAddressWords::FailedReturningStatus:
        PM_LOG_AS(sender.name, "[%d]: %s() - Failed to get email server address, returning "
                               "VESK_ERROR_FILE_ACCESS_FAIL\n");
        break;
    }
}

Failure testRequest(const Sender& sender, const Mail& mail) {
    if (sender.smallestRequest == 0)
        return SUCCESS;
    if (mail.request == nullptr && sender.failures.nullRequest.effect != Effect::NotPossible) {
        PM_LOG_AS(sender.name, "[%d]: %s() - p%s is NULL, returning VESK_ERROR_INVALID_PARAMETER\n",
                  sender.requestType);
        return sender.failures.nullRequest;
    }
    if (mail.requestSize >= sender.smallestRequest)
        return SUCCESS;
    PM_LOG_AS(sender.name,
              "[%d]: %s() - request_size less than sizeof(%s), returning "
              "VESK_ERROR_INVALID_PARAMETER\n",
              sender.requestType);
    if (sender.logsNeededSize)
        PM_LOG_AS(sender.name,
                  "[%d]: %s() - request_size less than sizeof(%s) = %zd, returning "
                  "VESK_ERROR_INVALID_PARAMETER\n",
                  sender.requestType, static_cast<ssize_t>(sender.smallestRequest));
    return sender.failures.shortRequest;
}

// All that an attempt reads before it touches a file.
Failure gather(const Sender& sender, Mail& mail, Attempt& attempt, bool& ownReadWorked) {
    if (sender.logsCompatibility)
        PM_LOG_AS(sender.name, "[%d]: Entering `%s' with MSE compatibility %s",
                  sender.compatibility->load() != 0 ? "enabled" : "disabled");
    getSenderEmail(attempt.senderAddress);
    if (!readSetting("pm_str_email_server_address", attempt.endpoint.szServerAddress)) {
        logServerAddressFailure(sender);
        return sender.failures.serverAddressUnreadable;
    }
    const Failure request = testRequest(sender, mail);
    if (endsAttempt(request))
        return request;
    if (gatherEmailEndpoint(attempt.endpoint, sender) < 0)
        return sender.failures.domainLiteral;
    ownReadWorked = sender.readOwn == nullptr || sender.readOwn(mail);
    if (getEmailConfigArgs(attempt.config) < 0)
        return sender.failures.emailConfig;
    return SUCCESS;
}

bool writeRelayConfig(const Sender& sender, Attempt& attempt) {
    EmailEndpoint& endpoint = attempt.endpoint;
    const EmailConfigArgs& config = attempt.config;
    return WriteEmailConfig(endpoint.szServerAddress.c_str(), attempt.senderAddress.c_str(),
                            endpoint.szDomainName.data(), endpoint.szHostname.c_str(),
                            sender.compatibility->load() != 0, attempt.relayConfigPath.c_str(),
                            config.port, config.authEnabled, config.username.c_str(),
                            config.connectionEncryption, config.saslMechanism,
                            config.password.c_str());
}

Failure writeFiles(const Sender& sender, Mail& mail, Attempt& attempt, std::FILE* message) {
    attempt.line.clear();
    if (sender.dateFirst)
        writeDateLine(attempt, message);
    if (sender.hostnameLater)
        GetHostname(attempt.endpoint.szHostname);
    if (!writeRelayConfig(sender, attempt))
        return sender.failures.relayConfig;
    if (!sender.dateFirst)
        writeDateLine(attempt, message);
    return writeMessage(sender, mail, attempt, message);
}

void removeMessage(const Sender& sender, const Attempt& attempt) {
    if (sender.removesMessage)
        unlink(attempt.messagePath.c_str());
}

// The part of an attempt that owns the files.
Failure sendFiles(const Sender& sender, Mail& mail, Attempt& attempt) {
    FileOwner message = openUnbuffered(attempt.messagePath.c_str(), "we");
    if (!message) {
        if (sender.logsOpenFailure)
            PM_LOG_AS(sender.name, "[%d]: %s() - could not open %s\n", attempt.messagePath.c_str());
        return sender.failures.messageOpen;
    }
    const Failure written = writeFiles(sender, mail, attempt, message.get());
    message.reset();
    if (endsAttempt(written)) {
        // Without a body buffer the header stays, until the next mail truncates it.
        if (written.status != PM_ERROR_NO_BODY_BUFFER)
            removeMessage(sender, attempt);
        return written;
    }
    const int result = runRelay(sender, attempt);
    sender.afterRelay(mail, result);
    removeMessage(sender, attempt);
    return result == 0 ? SUCCESS : sender.failures.relay;
}

Failure runAttempt(const Sender& sender, Mail& mail) {
    Attempt attempt;
    bool ownReadWorked = false;
    const Failure gathered = gather(sender, mail, attempt, ownReadWorked);
    if (endsAttempt(gathered))
        return gathered;
    attempt.messagePath.format("%s%s", sender.messagePath, mail.fileSuffix);
    attempt.relayConfigPath.format("%s%s", sender.relayConfigPath, mail.fileSuffix);

    std::unique_lock<std::mutex> lock(mailFileLock, std::defer_lock);
    if (sender.takesLock)
        lock.lock();
    if (!ownReadWorked && endsAttempt(sender.failures.ownRead))
        return sender.failures.ownRead;
    return sendFiles(sender, mail, attempt);
}

} // namespace

int32_t runAttempts(const Sender& sender, Mail& mail) {
    Failure end = runAttempt(sender, mail);
    if (end.effect == Effect::Retried) {
        sender.compatibility->fetch_xor(1);
        end = runAttempt(sender, mail);
    }
    if (end.effect != Effect::Final && sender.logsExit)
        PM_LOG_AS(sender.name, "[%d]:  Exiting %s()\n");
    return end.status;
}

int32_t sendRequest(const Sender& sender, uint32_t request_size, void* request) {
    PM_LOG_AS(sender.name, "[%d]:  Entering %s()\n");
    Mail mail;
    mail.request = request;
    mail.requestSize = request_size;
    return runAttempts(sender, mail);
}
