// Callback of pm's event topics.
#pragma once

#include <cstdint>

namespace pm {

// record: a notification record (common/records.h), or null; first is not used.
// event_ipmi_pet sends the alert mails and returns their status. Otherwise returns 0;
// qelctl_event_config_changed restarts the sibling service.
extern "C" int32_t pmEventCallback(void* first, const char* topic, const void* record);

} // namespace pm
