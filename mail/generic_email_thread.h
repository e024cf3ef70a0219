// The thread behind pm_function_sendGenericEmail.
#pragma once

#include <cstddef>
#include <cstdint>

// What the thread receives; both blocks lie in the plain heap, and the thread
// owns both from its start on.
struct GenericEmailThreadRequest {
    uint32_t request_size;
    void* request_data; // a copy of the whole record, its last byte a terminator
    size_t detached;    // bytes that count among those of detached mails
};

// Start routine; argument is a GenericEmailThreadRequest. Ends through
// pthread_exit with the mail's status as the thread's result.
extern "C" void* pthread_sendGenericEmail(void* argument);
