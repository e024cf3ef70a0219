// Starts threads that block signals: those then reach the main thread, and interrupt no
// system call of these threads.
#pragma once

#include <pthread.h>

namespace pm::host {

// Starts a thread with all signals blocked except faults (allButFaults in common/signals.h).
// With thread null it is detached; else the caller joins it. On failure returns false with
// errno set.
bool startThread(void* (*routine)(void*), void* argument, pthread_t* thread = nullptr);

} // namespace pm::host
