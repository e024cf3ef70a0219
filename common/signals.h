// The signals that pm's threads block.
#pragma once

#include <csignal>

namespace pm {

// All signals except those of a fault, an abort or a breakpoint, which must reach the
// thread that caused them.
sigset_t allButFaults();

// Blocks allButFaults() in the calling thread for the object's lifetime. Use it around
// the start of a thread, which inherits the mask: only the main thread takes signals.
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
