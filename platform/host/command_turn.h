// So many commands at a time: each is a process and takes descriptors.
#pragma once

#include "common/turns.h"

namespace pm::host {

// The stand-in's own threads run one command each at most. So many turns are kept for
// them, so that mails on threads of pm's own that hang delay no other work.
inline constexpr size_t WORKER_COMMANDS = 8;
inline constexpr size_t OTHER_COMMANDS = 56;

// Counts the calling thread among the stand-in's own.
void becomeWorker();

// The turns in which the calling thread may run a command.
Turns& commandTurns();

} // namespace pm::host
