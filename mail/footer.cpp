#include "common/records.h"
#include "mail/endpoint.h"
#include "mail/sender_hooks.h"
#include "platform/read.h"

namespace {

constexpr size_t BODY_FIELD = sizeof(TestEmailStruct::szBody);
static_assert(sizeof(AlertEmailStruct::szBody) == BODY_FIELD);

} // namespace

void readPresence(Mail& mail) {
    readSetting("zuvastatus_bool_zuva_present", mail.bPresence);
}

std::optional<std::string_view> appendFooter(Mail& mail, const EmailEndpoint& endpoint) {
    const size_t length = fieldText(mail.bodyField, BODY_FIELD).size();
    // A field without terminator has no room, not even for one.
    if (!mail.bFooterAppended && length < BODY_FIELD) {
        const char* address = endpoint.szWebAddress.c_str();
        char* end = mail.bodyField + length;
        if (mail.bPresence)
            formatBounded(end, BODY_FIELD - length,
                          "\nNorvu web UI: https://%s\nNorvu virtual console: https://%s/console\n",
                          address, address);
        else
            formatBounded(end, BODY_FIELD - length, "\nNorvu web UI: https://%s\n", address);
    }
    mail.bFooterAppended = true;
    return fieldText(mail.bodyField, BODY_FIELD);
}
