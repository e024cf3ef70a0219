// Limits the commands that run at a time: each is a process and needs descriptors.
#pragma once

#include "common/turns.h"

namespace pm::host {

// Threads of the work queues have turns of their own: generic mails, which run on threads of
// their own and may hang, then delay no other work.
inline constexpr size_t WORKER_COMMANDS = 8;
inline constexpr size_t OTHER_COMMANDS = 56;

// Marks the calling thread as one that serves a work queue.
void becomeWorker();

// The turns of the calling thread: a worker's or another's.
Turns& commandTurns();

} // namespace pm::host
