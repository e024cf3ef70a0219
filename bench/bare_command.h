// Commands as an operator would run them, without pm.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

struct BareCommand {
    std::vector<std::string> words; // the first is searched for in PATH
    std::string input;              // path of its standard input
};

// Prints the reason to standard error and exits with 1: figures from a failed run are
// useless.
[[noreturn]] void fail(const std::string& what);

// Starts the command; its output is discarded.
pid_t start(const BareCommand& command);
// Waits for the command to end; calls fail() unless it exits with 0.
void finish(pid_t pid, const BareCommand& command);
// Starts the command and waits for it as above.
void run(const BareCommand& command);
