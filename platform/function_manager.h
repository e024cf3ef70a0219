/* Function manager and subscription library. All calls return 0 on success. */
#pragma once

#include <stdint.h>

#include "platform/distribution.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Handler of a named function: takes the request's size in bytes and the request, and
 * returns a status. The request may be null; the handler may write to it. */
typedef int32_t (*jelmux_function_handler)(uint32_t request_size, void* request_data);

/* Creates an actor on the client's loop and stores its handle; queue is 512. */
int jelmux_fp_zactor_create(void* manager, void* loop, void** actor, int32_t queue);
/* Destroys an actor; *actor is a copy of its handle. */
void jelmux_fp_zactor_destroy(void* loop, void** actor);
/* Registers handler for the function name: the actor calls it for each request. flags
 * is 256. */
int jelmux_function_register_zactor(void* manager, void* actor, const char* name,
                                    jelmux_function_handler handler, struct qornc_context* context,
                                    int32_t flags);

/* *handle holds 0 on entry and a usable handle on success. */
int jelmux_subscriber_init(uint64_t* handle, const char* subscriber, qornc_event_callback callback);
/* Subscribes the callback to each notification whose topic begins with topic. */
int jelmux_subscribe_notification(uint64_t handle, const char* topic);

#ifdef __cplusplus
}
#endif
