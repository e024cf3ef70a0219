// pm's interface to other processes: service name, event topics, function names.
#pragma once

#include <cstdint>

#include "platform/distribution.h"
#include "platform/function_manager.h"

namespace pm {

// A row of a function table; a null name ends the table.
struct FunctionRow {
    const char* name;
    jelmux_function_handler handler;
    uint64_t unused; // 0 in every row
};
static_assert(sizeof(FunctionRow) == 24);

extern const FunctionRow pmEmailFunctionTable[]; // served by the first actor
extern const FunctionRow pmTrapFunctionTable[];  // served by the second actor

extern const qornc_event_row pmEventTable[];
extern const qornc_service_name pmServiceName;
extern const qornc_init_record pmServiceInitRecord;

} // namespace pm
