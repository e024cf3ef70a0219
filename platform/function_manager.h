/* Function manager and subscription library. All calls return 0 on success. */
#pragma once

#include <stdint.h>

#include "platform/distribution.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A named function's handler: the request's size in bytes, the request (null if
 * there is none; the handler may write into it), and a status as the result. */
typedef int32_t (*jelmux_function_handler)(uint32_t request_size, void* request_data);

/* Creates an actor on the client's loop and stores its handle; queue is 512. */
int jelmux_fp_zactor_create(void* manager, void* loop, void** actor, int32_t queue);
/* actor points to a copy of the handle. */
void jelmux_fp_zactor_destroy(void* loop, void** actor);
/* From then on requests for name reach handler on that actor; flags is 256. */
int jelmux_function_register_zactor(void* manager, void* actor, const char* name,
                                    jelmux_function_handler handler, struct qornc_context* context,
                                    int32_t flags);

/* *handle holds 0 on entry and a usable handle on success. */
int jelmux_subscriber_init(uint64_t* handle, const char* subscriber, qornc_event_callback callback);
/* Every notification whose topic begins with topic reaches the callback. */
int jelmux_subscribe_notification(uint64_t handle, const char* topic);

#ifdef __cplusplus
}
#endif
