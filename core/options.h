// The command line.
#pragma once

#include <cstdint>

namespace pm {

// Set to 1 by -factorydefaults or -fd.
extern uint8_t factoryDefaults;

// Parses the arguments; -debug sets g_bTrace. If an option is unknown, prints the usage
// and returns false.
bool parseOptions(int argc, char** argv);

} // namespace pm
