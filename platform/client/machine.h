// Reads the defaults of the controller's name and addresses from this machine.
#pragma once

#include <optional>

#include "platform/client/schema.h"

namespace pm::client {

// Whether the key's default is read from the machine.
bool isFromMachine(KeyId key);

// Returns the value as it is now: the host name up to its first dot; an address, preferably of
// the interface with the default route; 1 or 0 for a family with or without an address. Returns
// nothing for other keys, and if the machine has no value; also for the name if a chassis code
// is set, because GetHostname then makes the name from that code.
std::optional<Value> machineValue(KeyId key, bool hasChassisCode);

} // namespace pm::client
