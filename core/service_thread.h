// The service thread: connects pm to the other services and serves requests until the
// client's loop ends.
#pragma once

namespace pm {

// Start routine; the argument is not used. Never returns: when the service ends, the
// process exits with status -1.
extern "C" void* PM_LQORNThread(void* unused);

} // namespace pm
