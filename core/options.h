// The command line.
#pragma once

#include <cstdint>

namespace pm {

// 1 after -factorydefaults or -fd.
extern uint8_t factoryDefaults;

// Takes the command line from the first argument on. Returns false after the usage
// text if an option is unknown.
bool parseOptions(int argc, char** argv);

} // namespace pm
