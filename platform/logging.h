/* Logging component. Own code logs through the macros of common/log.h. */
#pragma once

#include <stdint.h>

#include "common/log.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Levels and modules as in common/log.h; format and arguments as printf. */
int mirlog_printf(int level, int module, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/* Remote log: 0 and the destination text after an alert mail's relay run, 1 or 2
 * alone when the Active Directory mode reads enabled or not. */
int log_rlog(int code, ...);

/* Set to 1 for trace lines (levels 5 and 6); pm never reads it. */
extern uint8_t g_bTrace;

#ifdef __cplusplus
}
#endif
