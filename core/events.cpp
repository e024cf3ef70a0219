#include "core/events.h"

#include <string_view>

#include "common/records.h"
#include "core/sibling_restart.h"
#include "mail/email_alerts.h"
#include "platform/logging.h"

namespace pm {

int32_t pmEventCallback(void*, const char* topic, const void* record) {
    if (record == nullptr) {
        PM_LOG_SERVICE(PM_LEVEL_ERROR, "%s(): Invalid notification header, NULL!");
        return 0;
    }
    const auto* header = static_cast<const NotificationHeader*>(record);
    const int type = header->HeaderType;
    const int size = static_cast<int>(header->Size);
    PM_LOG("nEventType: %d szEvent: %s nSize: %d\n", type, topic, size);
    PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s(): Entered for topic=<%s>", topic);
    PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s(): HeaderType=%d, Size=%d.", type, size);
    if (type != HEADER_TYPE_EVENT)
        return 0;

    const std::string_view name(topic);
    if (name == "event_ipmi_pet")
        return sendEmailAlerts(static_cast<const EventRecord*>(record)->payload);
    if (name == "qelctl_event_config_changed")
        processQelctlConfigChangedEvent();
    return 0;
}

} // namespace pm
