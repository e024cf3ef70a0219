// The service thread: connects pm to the other services and serves until the
// client's loop ends.
#pragma once

#include <cstdint>

#include "core/tables.h"

namespace pm {

// Start routine; the argument is not read. Never returns: whatever ends the
// service ends the process, with status -1.
extern "C" void* PM_LQORNThread(void* unused);

// Creates one actor and stores its handle through actor. Returns the status of
// the creation; a null handle is a failure as well, whatever the status.
int32_t create_zactor(void* manager, void* loop, void** actor);

// Registers each row of a table that a null name closes. A row that fails is
// logged and left out.
void register_table(qornc_context* context, const FunctionRow* table, void* actor);

} // namespace pm
