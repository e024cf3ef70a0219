// Callback of pm's event topics.
#pragma once

#include <cstdint>

namespace pm {

// record is a notification record (common/records.h) or null. A platform event becomes
// alert mail; a configuration event of the administration tool restarts the sibling
// service. The first argument is not read. Returns the status of what it ran, else 0.
extern "C" int32_t pmEventCallback(void* first, const char* topic, const void* record);

} // namespace pm
