// Start of the service thread.
#pragma once

#include <cstdint>

namespace pm {

// Starts the detached service thread. Returns 0, or -1, -2 or -3 if initialising the
// attributes, setting them to detached or creating the thread failed.
int32_t create_PM_LQORN_thread();

} // namespace pm
