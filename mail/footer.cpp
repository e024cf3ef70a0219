#include "mail/footer.h"

#include "common/text.h"
#include "config/read.h"

namespace pm {

bool readPresence() {
    bool bPresence = false;
    readSetting("zuvastatus_bool_zuva_present", bPresence);
    return bPresence;
}

std::string_view appendFooter(char (&field)[BODY_FIELD_SIZE], const EmailEndpoint& endpoint,
                              bool bPresence, bool& appended) {
    const size_t length = fieldText(field, BODY_FIELD_SIZE).size();
    if (!appended && length < BODY_FIELD_SIZE) {
        const char* address = endpoint.szWebAddress.c_str();
        char* end = field + length;
        if (bPresence)
            formatBounded(end, BODY_FIELD_SIZE - length,
                          "\nNorvu web UI: https://%s\nNorvu virtual console: https://%s/console\n",
                          address, address);
        else
            formatBounded(end, BODY_FIELD_SIZE - length, "\nNorvu web UI: https://%s\n", address);
    }
    appended = true;
    return fieldText(field, BODY_FIELD_SIZE);
}

} // namespace pm
