// Callback of the attributes that enable a directory service.
#pragma once

#include <cstdint>

namespace pm {

// record: an attribute change (common/records.h), or null. If the change enables Active
// Directory or LDAP, disables the other one. Returns 0.
extern "C" int32_t MiscAttributeChangeCallback(void* first, const char* topic, const void* record);

} // namespace pm
