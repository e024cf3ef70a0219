#include "mail/send_email.h"

#include "mail/attempt.h"
#include "mail/sender_hooks.h"
#include "platform/attributes.h"
#include "platform/logging.h"

namespace {

constexpr const char* OPERATION = "sendEmail";
constexpr int32_t REGISTERED = 1;

using PlaceholderBody = Text<4096>;
using FooterBody = Text<2040>;

// The name under which the controller is registered, where it is; else its address.
void chooseLinkAddress(Text<526>& link, const Mail& mail, const EmailEndpoint& endpoint) {
    if (!endpoint.bDomainNameFromSystem || mail.nDnsRegister != REGISTERED) {
        link.assign(endpoint.szWebAddress.view());
        return;
    }
    link.format("%s.%s", endpoint.szHostname.c_str(), endpoint.szDomainName.c_str());
    PM_LOG_AS(OPERATION, "[%d]: %s() - szDnsNvcName = %s\n", link.c_str());
}

template <size_t N>
std::string_view keepComposed(Mail& mail, HeapOwner<Text<N>> body) {
    const std::string_view text = body->view();
    mail.composedBody.reset(body.release()->data());
    return text;
}

std::optional<std::string_view> noBuffer() {
    PM_LOG_AS(OPERATION, "[%d]: %s(): pLocalBodyText - malloc() Failed\n");
    return std::nullopt;
}

std::optional<std::string_view> replacePlaceholder(Mail& mail, const EmailEndpoint& endpoint,
                                                   size_t placeholder) {
    auto body = allocateCleared<PlaceholderBody>();
    if (!body)
        return noBuffer();
    body->assign(mail.body.substr(0, placeholder));
    const std::string_view rest = mail.body.substr(placeholder + 2);
    body->append("%s%.*s", endpoint.szWebAddress.c_str(), static_cast<int>(rest.size()),
                 rest.data());
    return keepComposed(mail, std::move(body));
}

std::optional<std::string_view> addLinks(Mail& mail, const EmailEndpoint& endpoint) {
    Text<526> link;
    chooseLinkAddress(link, mail, endpoint);
    auto body = allocateCleared<FooterBody>();
    if (!body)
        return noBuffer();
    body->assign(mail.body);
    body->append("\nTo launch the Norvu Web Interface, click here: https://%s\n"
                 "To launch the Norvu Virtual Console, click here: https://%s/console\n",
                 link.c_str(), link.c_str());
    return keepComposed(mail, std::move(body));
}

void getCurrDnsRegister(int32_t& value) {
    value = 0;
    if (CfgGetAttributeInt("Norvu.Embedded.1#network.1#dnsregister", &value) != 0) {
        PM_LOG("[%d]: %s() - get currentnic.1#dnsregister fail\n");
        value = -1;
    }
    PM_LOG("[%d]: %s() - CurrDnsRegister=%d\n", value);
}

} // namespace

bool readDnsRegister(Mail& mail) {
    getCurrDnsRegister(mail.nDnsRegister);
    return true;
}

std::optional<std::string_view> composeEmailBody(Mail& mail, const EmailEndpoint& endpoint) {
    const size_t placeholder = mail.body.find("[]");
    return placeholder == std::string_view::npos ? addLinks(mail, endpoint)
                                                 : replacePlaceholder(mail, endpoint, placeholder);
}

void logEmailResult(const Mail&, int result) {
    PM_LOG_AS(OPERATION, "[%d]: %s() - nReturn=[%d]\n", result);
}

int32_t sendEmail(const char* destination, const char* subject, const char* body) {
    PM_LOG("[%d]:  Entering %s()\n");
    Mail mail;
    mail.destination = destination;
    mail.subject = subject;
    mail.body = body;
    return runAttempts(senderOfSendEmail, mail);
}
