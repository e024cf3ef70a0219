#include "common/signals.h"

#include <initializer_list>

namespace pm {

sigset_t allButFaults() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
        sigdelset(&signals, fault);
    return signals;
}

SignalsBlocked::SignalsBlocked() {
    const sigset_t signals = allButFaults();
    pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

} // namespace pm
