/* Named functions of other services. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Sends a request of length bytes to a named function of another service. *size holds
 * the same length; callers do not read *word. Returns 0 if the function accepted it. */
int vesk_function_execute_QORN(const char* name, uint32_t* size, const void* request,
                               uint32_t length, uint32_t* word);

#ifdef __cplusplus
}
#endif
