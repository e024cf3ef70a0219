/* Events that this process raises. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Raises the named event; the other arguments are 0. */
int vesk_event_occurred(const char* name, uint64_t zero1, uint64_t zero2);

#ifdef __cplusplus
}
#endif
