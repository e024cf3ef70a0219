// The functions that callers can call by name, and the queues on which they run.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/host/work_queue.h"

namespace pm::host {

struct FunctionManager;

// The handle in the client's context. Used on the loop's thread only.
FunctionManager* createFunctionManager();
// Destroy all actors first: the functions refer to their queues.
void destroyFunctionManager(FunctionManager* manager);

struct RegisteredFunction {
    std::string name;
    jelmux_function_handler handler;
    WorkQueue* queue; // of its actor
};
// Returns null if no function has that name.
const RegisteredFunction* findFunction(const FunctionManager* manager, std::string_view name);
std::vector<std::string> functionNames(const FunctionManager* manager);

// Runs a job: calls the handler, and replies with its status.
void callFunction(Job& job);

} // namespace pm::host
