#include "core/config_subscription.h"

#include "common/records.h"
#include "common/text.h"
#include "core/signals.h"
#include "platform/events.h"
#include "platform/function_manager.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr int ATTEMPTS = 7;
constexpr unsigned RETRY_SECONDS = 5;
constexpr int ALERT_GROUPS = 8;

using Topic = Text<64>;

} // namespace

int32_t snmpConfigNotificationCallback(void*, const char*, const void* record) {
    PM_LOG_LINE("enter to notification callback <--------------------\n");
    if (record != nullptr && *attributeName(record) != '\0') {
        vesk_event_occurred("pm_event_snmp_config_changed", 0, 0);
        PM_LOG_LINE("send pm_event_snmp_config_changed in notification callback.\n");
    }
    PM_LOG_LINE("exit\n");
    return 0;
}

int32_t subscribeConfigNotifications() {
    PM_LOG_LINE("enter\n");
    PM_LOG_LINE(".\n");
    uint64_t handle = 0;
    const int status = jelmux_subscriber_init(&handle, "SNMP", snmpConfigNotificationCallback);
    if (status != 0) {
        PM_LOG_LINE("jelmux subscriber init rc = %d\n", status);
        return status;
    }
    Topic topic;
    topic.format("%s%s1#%s%c", ATTRIBUTE_CHANGE_TOPIC, "norvu.embedded.1#snmp.", "", '\0');
    int32_t result = jelmux_subscribe_notification(handle, topic.c_str());
    for (int index = 1; index <= ALERT_GROUPS; ++index) {
        topic.clear();
        topic.format("%s%s%d#%s%c", ATTRIBUTE_CHANGE_TOPIC, "norvu.embedded.1#snmpalert.", index,
                     "", '\0');
        result |= jelmux_subscribe_notification(handle, topic.c_str());
    }
    PM_LOG_LINE("cm notification for rc = %d\n", result);
    PM_LOG_LINE("exit\n");
    return result;
}

void subscribeConfigNotificationsRetry() {
    for (int attempt = 1;; ++attempt) {
        const int32_t result = subscribeConfigNotifications();
        if (result == 0 || attempt == ATTEMPTS)
            return;
        PM_LOG_LINE("CfgMgr Notification Subscribe failed: err=%d\n", result);
        sleepThroughSignals(RETRY_SECONDS);
    }
}

} // namespace pm
