// Start of the service thread.
#pragma once

#include <cstdint>

namespace pm {

// Starts the detached service thread. Returns 0, or -1, -2, -3 for a failed
// attribute initialisation, detached setting or thread creation.
int32_t create_PM_LQORN_thread();

} // namespace pm
