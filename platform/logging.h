/* Logging component, and the macros through which own code logs. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    PM_LEVEL_FATAL = 1, /* ends the process, or an actor fails */
    PM_LEVEL_ERROR = 2, /* an operator has to know it */
    PM_LEVEL_TRACE = 5,
    PM_LEVEL_START = 6, /* once, when the service thread starts */

    PM_MODULE_SERVICE = 220, /* service thread, tables, header lines of callbacks */
    PM_MODULE_GENERAL = 258  /* everything else */
};

/* Levels and modules as above; format and arguments as printf. */
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

/* A trace line "[LINE]: OPERATION() - TEXT": text is a literal of printf's kind,
 * whole, so that a search for a logged line finds its source. */
#define PM_LOG(text, ...) PM_LOG_AS(__func__, text __VA_OPT__(, ) __VA_ARGS__)
/* The same under the name of another operation than the function that logs. */
#define PM_LOG_AS(name, text, ...)                                                                 \
    PM_LOG_WHOLE_AS(name, "[%d]: %s() - " text __VA_OPT__(, ) __VA_ARGS__)
/* The same as an error. */
#define PM_LOG_ERROR_AS(name, text, ...)                                                           \
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_GENERAL, "[%d]: %s() - " text, __LINE__,               \
                  name __VA_OPT__(, ) __VA_ARGS__)
/* A trace line with another head: the format takes the source line and the name. */
#define PM_LOG_WHOLE(format, ...) PM_LOG_WHOLE_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)
#define PM_LOG_WHOLE_AS(name, format, ...)                                                         \
    mirlog_printf(PM_LEVEL_TRACE, PM_MODULE_GENERAL, format, __LINE__,                             \
                  name __VA_OPT__(, ) __VA_ARGS__)
/* A trace line "[LINE]: TEXT". */
#define PM_LOG_LINE(text, ...)                                                                     \
    mirlog_printf(PM_LEVEL_TRACE, PM_MODULE_GENERAL, "[%d]: " text,                                \
                  __LINE__ __VA_OPT__(, ) __VA_ARGS__)
/* A line of the service module: the format takes the name of the function that logs. */
#define PM_LOG_SERVICE(level, format, ...)                                                         \
    mirlog_printf(level, PM_MODULE_SERVICE, format, __func__ __VA_OPT__(, ) __VA_ARGS__)
