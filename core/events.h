// Callbacks behind pm's event topics. The first argument is not read; record is
// a notification record (common/records.h).
#pragma once

#include <cstdint>

namespace pm {

// A platform event turns into alert mail, a configuration event of the
// administration tool into a restart of the sibling service. Returns the status
// of what it ran, else 0.
extern "C" int32_t pmEventCallback(void* first, const char* topic, const void* record);

// Keeps the two directory services from being on together: the one that a change
// names stays on. Returns 0.
extern "C" int32_t MiscAttributeChangeCallback(void* first, const char* topic, const void* record);

// Asks the service behind "teshServiceRequest" to restart the sibling service,
// and runs the direct command if that fails.
void processQelctlConfigChangedEvent();

} // namespace pm
