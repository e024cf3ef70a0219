// What the trap handlers test of an index request.
#pragma once

#include <cstdint>

namespace pm {

// How a handler refuses.
struct IndexRefusal {
    const char* operation;
    const char* returning; // the status as its lines name it
    int32_t status;
};

// Takes the index, 1 to 8, from the request's first byte. Returns 0, or the
// refusal's status after a line.
int32_t takeTrapIndex(const IndexRefusal& refusal, uint32_t request_size, const void* request_data,
                      int32_t& index);

} // namespace pm
