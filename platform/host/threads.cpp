#include "platform/host/threads.h"

#include <cerrno>
#include <initializer_list>

namespace pm::host {

namespace {

// Room for what handlers need, the name service included; only what is touched
// costs memory.
constexpr size_t STACK_SIZE = 524288;

sigset_t allButFaults() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP})
        sigdelset(&signals, fault);
    return signals;
}

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

SignalsBlocked::SignalsBlocked() {
    const sigset_t signals = allButFaults();
    pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

} // namespace pm::host
