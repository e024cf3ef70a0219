// The signals that reach a thread whatever it does.
#pragma once

#include <csignal>

namespace pm {

// All signals but those of a fault, an abort or a breakpoint: these reach the thread that
// made them.
sigset_t allButFaults();

// Blocks allButFaults for its lifetime: around whatever starts threads, which inherit
// the mask. All other signals then reach the main thread.
class SignalsBlocked {
  public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t m_before;
};

} // namespace pm
