// Function manager: an actor is a thread with its own queue, on which functions run.
#include <algorithm>
#include <czmq.h>
#include <memory>

#include "common/signals.h"
#include "platform/function_manager.h"
#include "platform/host/activity.h"
#include "platform/host/function_registry.h"
#include "platform/host/guard.h"
#include "platform/host/status_report.h"
#include "platform/host/threads.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

struct FunctionManager {
    std::vector<RegisteredFunction> functions;
};

namespace {

struct Actor {
    explicit Actor(size_t limit, FunctionManager* itsManager) : queue(limit), manager(itsManager) {}

    WorkQueue queue;
    FunctionManager* manager;
    zactor_t* thread = nullptr;
};

void actorMain(zsock_t* pipe, void* argument) {
    zsock_signal(pipe, 0); // ready
    static_cast<Actor*>(argument)->queue.serve();
}

} // namespace

FunctionManager* createFunctionManager() {
    return new FunctionManager;
}

void destroyFunctionManager(FunctionManager* manager) {
    delete manager;
}

const RegisteredFunction* findFunction(const FunctionManager* manager, std::string_view name) {
    const auto found = std::ranges::find(manager->functions, name, &RegisteredFunction::name);
    return found == manager->functions.end() ? nullptr : &*found;
}

std::vector<std::string> functionNames(const FunctionManager* manager) {
    std::vector<std::string> names;
    for (const RegisteredFunction& function : manager->functions)
        names.push_back(function.name);
    return names;
}

void callFunction(Job& job) {
    noteBegin(Work::Function, job.name);
    const int32_t status = job.handler(job.record.size, job.record.data());
    const WorkOutcome outcome = noteEnd(Work::Function, job.name, status);
    if (status != 0)
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "function %s returned %d%s%s",
                      job.name.c_str(), status, outcome.reason.empty() ? "" : ": ",
                      outcome.reason.c_str());
    queueReply(job.caller, outcomeReply(status, outcome));
}

extern "C" int jelmux_fp_zactor_create(void* manager, void* loop, void** actor, int32_t queue) {
    if (manager == nullptr || loop == nullptr || actor == nullptr || queue <= 0)
        return -1;
    return guarded("creating an actor", -1, [&] {
        auto created = std::make_unique<Actor>(static_cast<size_t>(queue),
                                               static_cast<FunctionManager*>(manager));
        const SignalsBlocked blocked; // the actor's thread inherits the mask
        created->thread = zactor_new(actorMain, created.get());
        if (created->thread == nullptr)
            return -1;
        *actor = created.release();
        return 0;
    });
}

extern "C" void jelmux_fp_zactor_destroy(void*, void** actor) {
    if (actor == nullptr || *actor == nullptr)
        return;
    const std::unique_ptr<Actor> ending(static_cast<Actor*>(*actor));
    *actor = nullptr;
    std::erase_if(ending->manager->functions,
                  [&](const auto& function) { return function.queue == &ending->queue; });
    ending->queue.close();
    zactor_destroy(&ending->thread); // waits for a running handler
}

extern "C" int jelmux_function_register_zactor(void* manager, void* actor, const char* name,
                                               jelmux_function_handler handler,
                                               qornc_context* context, int32_t) {
    if (manager == nullptr || actor == nullptr || name == nullptr || *name == '\0' ||
        handler == nullptr || context == nullptr || std::string_view(name).size() > NAME_LIMIT)
        return -1;
    auto* registry = static_cast<FunctionManager*>(manager);
    return guarded(name, -1, [&] {
        if (findFunction(registry, name) != nullptr)
            return -1; // a name has one handler
        registry->functions.push_back({name, handler, &static_cast<Actor*>(actor)->queue});
        return 0;
    });
}

} // namespace pm::host
