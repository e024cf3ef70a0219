#include "core/service_thread.h"

#include <cstdlib>
#include <czmq.h>

#include "core/tables.h"
#include "mail/thread_files.h"
#include "platform/distribution.h"
#include "platform/function_manager.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr int32_t ACTOR_QUEUE = 512;
constexpr int32_t REGISTRATION_FLAGS = 256;

// Creates an actor and stores its handle in *actor. Returns the platform's status. A null
// handle is a failure too, even with status 0; the caller has to check it.
int32_t create_zactor(void* manager, void* loop, void** actor) {
    const int32_t status = jelmux_fp_zactor_create(manager, loop, actor, ACTOR_QUEUE);
    if (status == 0 && *actor != nullptr)
        PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s: Created zactor\n");
    else
        PM_LOG_SERVICE(PM_LEVEL_FATAL, "%s: Failed to create zactor, status = %d\n", status);
    return status;
}

// Registers the table's rows, up to a null name. A row that fails is logged and skipped.
void register_table(qornc_context* context, const FunctionRow* table, void* actor) {
    for (const FunctionRow* row = table; row->name != nullptr; ++row) {
        const int32_t status = jelmux_function_register_zactor(
            context->manager, actor, row->name, row->handler, context, REGISTRATION_FLAGS);
        if (status == 0)
            PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s(): Registered function %s\n", row->name);
        else
            PM_LOG_SERVICE(PM_LEVEL_ERROR, "%s() Failed to register function %s status = %d",
                           row->name, status);
    }
}

void createActorOrExit(qornc_context* context, void** actor) {
    const int32_t status = create_zactor(context->manager, context->loop, actor);
    if (status == 0 && *actor != nullptr)
        return;
    mirlog_printf(PM_LEVEL_FATAL, PM_MODULE_SERVICE,
                  "%s(): Failed creating zactor! Exiting!! status = %d", "PM_LQORNThread", status);
    std::exit(-1);
}

void destroyActor(qornc_context* context, void* actor) {
    if (actor != nullptr)
        jelmux_fp_zactor_destroy(context->loop, &actor);
}

} // namespace

void* PM_LQORNThread(void*) {
    qornc_context* context = nullptr;
    void* firstActor = nullptr;
    void* secondActor = nullptr;

    PM_LOG_SERVICE(PM_LEVEL_START, "%s(): Thread started...");
    const int32_t status = qornc_initialize(&context, &pmServiceInitRecord);
    if (status != 0 || context == nullptr) {
        PM_LOG_SERVICE(PM_LEVEL_FATAL, "%s(): libqorn init failed, status %d. Exiting!! ", status);
        std::exit(-1);
    }
    // After qornc_initialize, which fails in a second pm: that one must not remove the first
    // one's files. Before the first request: no file of a mail may be removed while it is sent.
    removeLeftFiles();

    context->first_actor = &firstActor;
    createActorOrExit(context, &firstActor);
    register_table(context, pmEmailFunctionTable, firstActor);
    createActorOrExit(context, &secondActor);
    register_table(context, pmTrapFunctionTable, secondActor);

    zloop_start(static_cast<zloop_t*>(context->loop));

    destroyActor(context, secondActor);
    destroyActor(context, firstActor);
    qornc_destroy(context);
    mirlog_printf(PM_LEVEL_FATAL, PM_MODULE_SERVICE, "pm process exiting...");
    std::exit(-1);
}

} // namespace pm
