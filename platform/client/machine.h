// What this machine says of itself: the defaults of the controller's name and addresses.
#pragma once

#include <optional>

#include "platform/client/schema.h"

namespace pm::client {

// Whether the key's default comes from the machine.
bool isFromMachine(KeyId key);

// The value, read now: the host's name up to its first dot; an address of the interface
// with the default route, or of another one where that has none; 1 or 0 for a
// family with or without an address. None for all other keys, and for what the machine
// does not have. hasChassisCode: the controller's name is made from that code instead.
std::optional<Value> machineValue(KeyId key, bool hasChassisCode);

} // namespace pm::client
