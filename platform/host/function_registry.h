// The named functions and the actors on which they run.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/host/work_queue.h"

namespace pm::host {

struct FunctionManager;

// The handle that the client's context carries; belongs to the loop's thread.
FunctionManager* createFunctionManager();
// Forgets all functions; actors are destroyed before.
void destroyFunctionManager(FunctionManager* manager);

struct RegisteredFunction {
    std::string name;
    jelmux_function_handler handler;
    WorkQueue* queue; // of its actor
};
// Null if there is none of that name.
const RegisteredFunction* findFunction(const FunctionManager* manager, std::string_view name);
std::vector<std::string> functionNames(const FunctionManager* manager);

// A job's routine: runs the handler, and replies with its status.
void callFunction(Job& job);

} // namespace pm::host
