// The system's domain name.
#pragma once

#include "common/text.h"

namespace pm {

// Removes leading spaces and tabs, then one trailing dot, in place.
void trimDomainName(char* text);

// Reads the system's domain name and trims it. Empty if it cannot be read.
void readDomainName(Text<255>& szDomainName);

// True if no domain name is set: the text is empty or "(none)".
bool isNoDomainName(const Text<255>& szDomainName);

} // namespace pm
