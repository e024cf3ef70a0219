// Threads of the stand-in: they take no signals, so that all of them reach the
// main thread, and no system call of theirs is interrupted.
#pragma once

#include <pthread.h>

namespace pm::host {

// Starts a thread with all signals blocked but the synchronous faults and
// SIGABRT and SIGTRAP. With thread null it is detached, else the caller joins it.
// False: errno tells why.
bool startThread(void* (*routine)(void*), void* argument, pthread_t* thread = nullptr);

} // namespace pm::host
