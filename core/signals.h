// pm's signal handler, and sleeps that signals do not cut short.
#pragma once

namespace pm {

// Installs sigHandler for the signals 0 to 29; those that cannot be caught are skipped.
void installSignalHandler();

// Ignores SIGPIPE and SIGCHLD, and counts SIGUSR1. Any other signal ends the process with
// status 1. Makes async-signal-safe calls only.
extern "C" void sigHandler(int sig);

// Sleeps that many seconds even if signals arrive. Logs each SIGUSR1.
void sleepThroughSignals(unsigned seconds);

// Sleeps forever. Logs each SIGUSR1.
[[noreturn]] void sleepForever();

} // namespace pm
