#include "mail/send_email.h"

#include "common/status.h"
#include "config/read.h"
#include "mail/attempt.h"
#include "mail/sender_address.h"
#include "mail/under_way.h"
#include "platform/attributes.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* SENDER = "sendEmail";
constexpr int32_t REGISTERED = 1;

using PlaceholderBody = Text<4096>;
using FooterBody = Text<2040>;

int32_t getCurrDnsRegister() {
    int32_t value = 0;
    if (CfgGetAttributeInt("Norvu.Embedded.1#network.1#dnsregister", &value) != 0) {
        PM_LOG("get currentnic.1#dnsregister fail\n");
        value = -1;
    }
    PM_LOG("CurrDnsRegister=%d\n", value);
    return value;
}

// The controller's name if it is registered in DNS, else its address.
void chooseLinkAddress(Text<526>& link, const EmailEndpoint& endpoint, int32_t dnsRegister) {
    if (!endpoint.bDomainNameFromSystem || dnsRegister != REGISTERED) {
        link.assign(endpoint.szWebAddress.view());
        return;
    }
    link.format("%s.%s", endpoint.szHostname.c_str(), endpoint.szDomainName.c_str());
    PM_LOG_AS(SENDER, "szDnsNvcName = %s\n", link.c_str());
}

HeapOwner<PlaceholderBody> replacePlaceholder(std::string_view text, size_t placeholder,
                                              const EmailEndpoint& endpoint) {
    auto body = allocateCleared<PlaceholderBody>();
    if (!body)
        return nullptr;
    body->assign(text.substr(0, placeholder));
    const std::string_view rest = text.substr(placeholder + 2);
    body->append("%s%.*s", endpoint.szWebAddress.c_str(), static_cast<int>(rest.size()),
                 rest.data());
    return body;
}

HeapOwner<FooterBody> addLinks(std::string_view text, const EmailEndpoint& endpoint,
                               int32_t dnsRegister) {
    Text<526> link;
    chooseLinkAddress(link, endpoint, dnsRegister);
    auto body = allocateCleared<FooterBody>();
    if (!body)
        return nullptr;
    body->assign(text);
    body->append("\nTo launch the Norvu Web Interface, click here: https://%s\n"
                 "To launch the Norvu Virtual Console, click here: https://%s/console\n",
                 link.c_str(), link.c_str());
    return body;
}

template <size_t N>
bool writeComposed(MessageFile& message, const HeapOwner<Text<N>>& body) {
    if (!body) {
        PM_LOG_WHOLE_AS(SENDER, "[%d]: %s(): pLocalBodyText - malloc() Failed\n");
        return false;
    }
    message.write(body->view());
    return true;
}

// False if memory for the body is exhausted.
bool composeAndWriteBody(MessageFile& message, std::string_view body, const EmailEndpoint& endpoint,
                         int32_t dnsRegister) {
    const size_t placeholder = body.find("[]");
    return placeholder == std::string_view::npos
               ? writeComposed(message, addLinks(body, endpoint, dnsRegister))
               : writeComposed(message, replacePlaceholder(body, placeholder, endpoint));
}

Ending attemptOnce(const char* destination, const char* subject, const char* body) {
    Attempt attempt{.sender = SENDER};
    logCompatibility(attempt, bMseCompatSendEmail);
    getSenderEmail(attempt.senderAddress);
    if (!readSetting("pm_str_email_server_address", attempt.endpoint.szServerAddress)) {
        PM_LOG_AS(SENDER, "could not get server address\n");
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    }
    if (gatherEmailEndpoint(attempt.endpoint,
                            {.sender = SENDER, .domainLog = DomainLog::LiteralTaken}) < 0)
        return giveUp(VESK_ERROR_GENERAL);
    const int32_t dnsRegister = getCurrDnsRegister();
    if (getEmailConfigArgs(attempt.config) < 0)
        return giveUp(VESK_ERROR_INVALID_PARAMETER);

    const std::lock_guard<std::mutex> lock(mailFileLock);
    MessageFile message(attempt.messagePath, MessageFile::AtEnd::Remove);
    if (!message.isOpen()) {
        PM_LOG_AS(SENDER, "could not open %s\n", attempt.messagePath);
        return retry(VESK_ERROR_FILE_ACCESS_FAIL);
    }
    if (!writeRelayConfig(attempt, bMseCompatSendEmail))
        return giveUp(VESK_ERROR_FILE_ACCESS_FAIL);
    // This sender ignores failed writes.
    writeDateLine(attempt, message);
    composeFromLine(attempt, FromFallback::HostAtDomain);
    message.write(attempt.line.view());
    writeHeader(attempt, message, "To", destination);
    writeHeader(attempt, message, "Subject", subject);
    message.write(CONTENT_TYPE_LINE);
    if (!composeAndWriteBody(message, body, attempt.endpoint, dnsRegister)) {
        message.keep(); // incomplete; the next mail truncates it
        return giveUp(PM_ERROR_NO_BODY_BUFFER);
    }
    message.write("\n\n");
    message.close();

    const int result = runRelay(attempt);
    PM_LOG_AS(SENDER, "nReturn=[%d]\n", result);
    return result == 0 ? sent() : retry(VESK_ERROR_GENERAL);
}

} // namespace

int32_t sendEmail(const char* destination, const char* subject, const char* body) {
    PM_LOG_WHOLE("[%d]:  Entering %s()\n");
    const MailUnderWay underWay;
    const Ending end =
        makeAttempts(bMseCompatSendEmail, [&] { return attemptOnce(destination, subject, body); });
    logFailedMail(SENDER, destination, end);
    if (end.next != Ending::Next::GiveUp)
        PM_LOG_WHOLE("[%d]:  Exiting %s()\n");
    return end.status;
}

} // namespace pm
