// File descriptors of the process.
#pragma once

namespace pm {

// Opens /dev/null for each of the three standard descriptors that is closed, so that no
// file or socket of pm gets its number. Call it before anything is opened.
void fillStandardDescriptors();

// Raises the soft limit of descriptors to the hard one: each connection takes one, and
// libzmq aborts when there is none left.
void raiseDescriptorLimit();

} // namespace pm
