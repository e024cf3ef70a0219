// Commands as an operator would run them, without pm.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

struct BareCommand {
    std::vector<std::string> words; // the program is looked for in PATH
    std::string input;              // file for its standard input
};

// Says what went wrong on standard error and ends the process: a figure from a
// run in which something failed is worth nothing.
[[noreturn]] void fail(const std::string& what);

pid_t start(const BareCommand& command);
// Waits for the end; any but exit status 0 is a failure.
void finish(pid_t pid, const BareCommand& command);
void run(const BareCommand& command);
