// Signals, and sleeping while they come.
#pragma once

namespace pm {

// Installs sigHandler for the signals 0 to 29, as far as they can be caught.
void installSignalHandler();

// SIGPIPE, SIGCHLD and SIGUSR1 are survived; all others end the process with
// status 1. Does only what is safe inside a handler.
extern "C" void sigHandler(int sig);

// Sleeps for seconds, whatever signals come in between.
void sleepThroughSignals(unsigned seconds);

// Sleeps for ever; signals are taken here.
[[noreturn]] void sleepForever();

} // namespace pm
