// Callback of the attributes that enable a directory service.
#pragma once

#include <cstdint>

namespace pm {

// record is an attribute change (common/records.h) or null. Keeps the two directory
// services from being on together: the one that the change names stays on. Returns 0.
extern "C" int32_t MiscAttributeChangeCallback(void* first, const char* topic, const void* record);

} // namespace pm
