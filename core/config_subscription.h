// Subscription to changes of the SNMP attribute groups.
#pragma once

#include <cstdint>

namespace pm {

// Subscribes the general SNMP group and the eight alert groups. Returns 0 only
// if all nine worked, else the failed initialisation's status or the nine
// statuses ORed together.
int32_t subscribeConfigNotifications();

// At most 7 attempts, 5 seconds apart.
void subscribeConfigNotificationsRetry();

// Passes the change of an SNMP attribute on as an event of pm's own. Only the
// record is read; the result is 0.
extern "C" int32_t snmpConfigNotificationCallback(void* first, const char* second,
                                                  const void* record);

} // namespace pm
