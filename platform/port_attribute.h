// Reader of attributes that hold a port.
#pragma once

#include <cstdint>

namespace pm {

// How the log lines speak of the port, and under whose name.
struct PortWords {
    const char* operation;
    const char* unreadable;
    const char* empty;
    const char* number;
};

// Reads a port, 1 to 65535, held as a number or as text: leading digits count.
// Returns false after a line, with port untouched, if there is none or another
// number.
bool readPortAttribute(const char* key, const PortWords& words, int32_t& port);

} // namespace pm
