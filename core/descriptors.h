// File descriptors of the process.
#pragma once

namespace pm {

// Opens /dev/null for each of the three standard descriptors that is closed, so that no
// file or socket of pm gets the number 0, 1 or 2. Call it before anything is opened.
void fillStandardDescriptors();

// Raises the soft limit of open descriptors to the hard one: each connection takes one,
// and libzmq aborts the process when no descriptor is left.
void raiseDescriptorLimit();

} // namespace pm
