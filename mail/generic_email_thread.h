// The thread behind pm_function_sendGenericEmail.
#pragma once

#include <cstdint>

namespace pm {

// What the thread receives; both blocks lie in the plain heap, and the thread
// owns both from its start on.
struct GenericEmailThreadRequest {
    uint32_t request_size;
    void* request_data; // a copy of the whole record, its last byte a terminator
};

// Start routine; argument is a GenericEmailThreadRequest. Ends through
// pthread_exit with the mail's status as the thread's result.
extern "C" void* pthread_sendGenericEmail(void* argument);

} // namespace pm
