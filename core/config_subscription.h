// Subscription to changes of the SNMP attribute groups.
#pragma once

#include <cstdint>

namespace pm {

// Subscribes to the general SNMP group and the eight alert groups. Returns 0 if all nine
// succeed; else the status of the failed initialisation, or the nine statuses ORed.
int32_t subscribeConfigNotifications();

// Calls subscribeConfigNotifications until it returns 0: at most 7 times, 5 seconds apart.
void subscribeConfigNotificationsRetry();

// Callback of a changed SNMP attribute: raises pm_event_snmp_config_changed. Uses only
// the record, which may be null. Returns 0.
extern "C" int32_t snmpConfigNotificationCallback(void* first, const char* second,
                                                  const void* record);

} // namespace pm
