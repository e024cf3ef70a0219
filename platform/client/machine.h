// Reads the defaults of the controller's name and addresses from this machine.
#pragma once

#include <optional>

#include "platform/client/schema.h"

namespace pm::client {

// Whether the key's default is read from the machine.
bool isFromMachine(KeyId key);

// Reads the value now: the host name up to its first dot; an address, preferably of the
// interface with the default route; 1 or 0 for a family with or without an address. Empty for
// other keys, without a value, and for the name if hasChassisCode, as it is made from the code.
std::optional<Value> machineValue(KeyId key, bool hasChassisCode);

} // namespace pm::client
