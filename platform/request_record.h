// The test of a request record that handlers begin with.
#pragma once

#include <cstdint>

namespace pm {

// How the lines that refuse a request speak of it, and under whose name.
struct RequestWords {
    const char* operation;
    const char* type;      // of the record
    const char* returning; // the status
};

// True if there is a record of at least smallest bytes; else false after a line.
bool isWholeRequest(const RequestWords& words, uint32_t request_size, const void* request_data,
                    uint32_t smallest);

} // namespace pm
