// The process itself: options, signals, start-up and the endless sleep.
#pragma once

#include <csignal>
#include <cstdint>

namespace pm {

// 1 after -factorydefaults or -fd.
extern uint8_t factoryDefaults;

// Puts /dev/null in place of each of the three standard descriptors that is closed,
// lest a file or socket of ours get its number. Before anything is opened.
void fillStandardDescriptors();

// Raises the soft limit of descriptors to the hard one: each connection takes one,
// and libzmq aborts when there is none left.
void raiseDescriptorLimit();

// Takes the command line from the first argument on. Returns false after the
// usage text if an option is unknown.
bool parseOptions(int argc, char** argv);

// Installs sigHandler for the signals 0 to 29, as far as they can be caught.
void installSignalHandler();

// SIGPIPE, SIGCHLD and SIGUSR1 are survived; all others end the process with
// status 1. Does only what is safe inside a handler.
extern "C" void sigHandler(int sig);

// All signals but those of a fault, which reach the thread that made it.
sigset_t allButFaults();

// Logs each SIGUSR1 that sigHandler has taken since the last call.
void logReceivedSignals();

// Sleeps for seconds, whatever signals come in between.
void sleepThroughSignals(unsigned seconds);

// Sleeps for ever; signals are taken here.
[[noreturn]] void sleepForever();

// Starts the detached service thread. Returns 0, or -1, -2, -3 for a failed
// attribute initialisation, detached setting or thread creation.
int32_t create_PM_LQORN_thread();

// Loads the settings and seeds the two descriptive texts where they are missing,
// or in any case with factoryDefaults.
void initPersistentParameters();

} // namespace pm
