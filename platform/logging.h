/* Logging component, and the macros with which pm logs. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    PM_LEVEL_FATAL = 1,  /* pm ends, or an actor failed */
    PM_LEVEL_ERROR = 2,  /* an operator should know */
    PM_LEVEL_NOTICE = 4, /* what went well and is worth a line */
    PM_LEVEL_TRACE = 5,
    PM_LEVEL_START = 6, /* once, when the service thread starts */

    PM_MODULE_SERVICE = 220, /* service thread, function tables, a callback's first lines */
    PM_MODULE_GENERAL = 258  /* everything else */
};

/* Level and module as above; format and arguments as in printf. */
int mirlog_printf(int level, int module, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/* Remote log. Code 0, with the destination as text: the relay was run for an alert
 * mail. Code 1 or 2, without text: Active Directory is enabled or not. */
int log_rlog(int code, ...);

/* 1: trace lines (levels 5 and 6) are logged too. pm only sets it. */
extern uint8_t g_bTrace;

#ifdef __cplusplus
}
#endif

/* Logs the trace line "[LINE]: FUNCTION() - TEXT". text is one literal in printf's
 * syntax, never composed, so that a search for a logged line finds its source. */
#define PM_LOG(text, ...) PM_LOG_AS(__func__, text __VA_OPT__(, ) __VA_ARGS__)
/* The same with the name of another operation than the current function. */
#define PM_LOG_AS(name, text, ...)                                                                 \
    PM_LOG_WHOLE_AS(name, "[%d]: %s() - " text __VA_OPT__(, ) __VA_ARGS__)
/* The same at the error level. */
#define PM_LOG_ERROR_AS(name, text, ...)                                                           \
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_GENERAL, "[%d]: %s() - " text, __LINE__,               \
                  name __VA_OPT__(, ) __VA_ARGS__)
/* Logs a trace line with another head: format also takes the source line and the name. */
#define PM_LOG_WHOLE(format, ...) PM_LOG_WHOLE_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)
#define PM_LOG_WHOLE_AS(name, format, ...)                                                         \
    mirlog_printf(PM_LEVEL_TRACE, PM_MODULE_GENERAL, format, __LINE__,                             \
                  name __VA_OPT__(, ) __VA_ARGS__)
/* Logs the trace line "[LINE]: TEXT". */
#define PM_LOG_LINE(text, ...)                                                                     \
    mirlog_printf(PM_LEVEL_TRACE, PM_MODULE_GENERAL, "[%d]: " text,                                \
                  __LINE__ __VA_OPT__(, ) __VA_ARGS__)
/* Logs for the service module: format takes the name of the current function first. */
#define PM_LOG_SERVICE(level, format, ...)                                                         \
    mirlog_printf(level, PM_MODULE_SERVICE, format, __func__ __VA_OPT__(, ) __VA_ARGS__)
