#include "platform/host/threads.h"

#include <cerrno>

#include "common/signals.h"

namespace pm::host {

namespace {

// Bytes; enough for handlers that resolve names. Only pages that are used take memory.
constexpr size_t STACK_SIZE = 524288;

} // namespace

bool startThread(void* (*routine)(void*), void* argument, pthread_t* thread) {
    pthread_attr_t attributes;
    int failure = pthread_attr_init(&attributes);
    if (failure == 0) {
        const sigset_t signals = allButFaults();
        pthread_attr_setsigmask_np(&attributes, &signals);
        pthread_attr_setstacksize(&attributes, STACK_SIZE);
        if (thread == nullptr)
            pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_t unused;
        failure =
            pthread_create(thread == nullptr ? &unused : thread, &attributes, routine, argument);
        pthread_attr_destroy(&attributes);
    }
    errno = failure;
    return failure == 0;
}

} // namespace pm::host
