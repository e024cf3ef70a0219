// The service thread: connects pm to the other services and serves until the
// client's loop ends.
#pragma once

namespace pm {

// Start routine; the argument is not read. Never returns: whatever ends the
// service ends the process, with status -1.
extern "C" void* PM_LQORNThread(void* unused);

} // namespace pm
