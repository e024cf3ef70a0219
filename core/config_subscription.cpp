#include "core/config_subscription.h"

#include "common/records.h"
#include "common/text.h"
#include "core/process.h"
#include "platform/function_manager.h"
#include "platform/logging.h"
#include "platform/settings.h"

namespace pm {

namespace {

constexpr int ATTEMPTS = 7;
constexpr unsigned RETRY_SECONDS = 5;
constexpr int ALERT_GROUPS = 8;

constexpr const char* TOPIC_PREFIX = "CfgMgr$1$AttributeChange$";

using Topic = Text<64>;

} // namespace

int32_t snmpConfigNotificationCallback(void*, const char*, const void* record) {
    PM_LOG_LINE("[%d]: enter to notification callback <--------------------\n");
    if (record != nullptr && *attributeName(record) != '\0') {
        vesk_event_occurred("pm_event_snmp_config_changed", 0, 0);
        PM_LOG_LINE("[%d]: send pm_event_snmp_config_changed in notification callback.\n");
    }
    PM_LOG_LINE("[%d]: exit\n");
    return 0;
}

int32_t subscribeConfigNotifications() {
    PM_LOG_LINE("[%d]: enter\n");
    PM_LOG_LINE("[%d]: .\n");
    uint64_t handle = 0;
    const int status = jelmux_subscriber_init(&handle, "SNMP", snmpConfigNotificationCallback);
    if (status != 0) {
        PM_LOG_LINE("[%d]: jelmux subscriber init rc = %d\n", status);
        return status;
    }
    Topic topic;
    topic.format("%s%s1#%s%c", TOPIC_PREFIX, "norvu.embedded.1#snmp.", "", '\0');
    int32_t result = jelmux_subscribe_notification(handle, topic.c_str());
    for (int index = 1; index <= ALERT_GROUPS; ++index) {
        topic.clear();
        topic.format("%s%s%d#%s%c", TOPIC_PREFIX, "norvu.embedded.1#snmpalert.", index, "", '\0');
        result |= jelmux_subscribe_notification(handle, topic.c_str());
    }
    PM_LOG_LINE("[%d]: cm notification for rc = %d\n", result);
    PM_LOG_LINE("[%d]: exit\n");
    return result;
}

void subscribeConfigNotificationsRetry() {
    for (int attempt = 1;; ++attempt) {
        const int32_t result = subscribeConfigNotifications();
        if (result == 0 || attempt == ATTEMPTS)
            return;
        PM_LOG_LINE("[%d]: CfgMgr Notification Subscribe failed: err=%d\n", result);
        sleepThroughSignals(RETRY_SECONDS);
    }
}

} // namespace pm
