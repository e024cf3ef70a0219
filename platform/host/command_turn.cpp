#include "platform/host/command_turn.h"

namespace pm::host {

namespace {

thread_local bool worker = false;

} // namespace

void becomeWorker() {
    worker = true;
}

Turns& commandTurns() {
    // Never destroyed: other threads may use them until the process has ended.
    static Turns& workers = *new Turns(WORKER_COMMANDS);
    static Turns& others = *new Turns(OTHER_COMMANDS);
    return worker ? workers : others;
}

} // namespace pm::host
