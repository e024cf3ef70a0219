// Log macros. They expand to mirlog_printf of platform/logging.h, which
// includes this file: include that one, and the format stays a literal that
// the compiler checks at the call.
#pragma once

enum {
    PM_LEVEL_FATAL = 1, // what ends the process or makes an actor fail
    PM_LEVEL_ERROR = 2,
    PM_LEVEL_TRACE = 5,
    PM_LEVEL_START = 6, // once, when the service thread starts

    PM_MODULE_SERVICE = 220, // service thread, tables, callbacks' header lines
    PM_MODULE_MAIL = 258,    // all the rest
};

// "[%d]: %s() ...": source line and the name of the operation that logs.
#define PM_LOG(format, ...) PM_LOG_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)
// The same under a name of the caller's choice: a sender's, or a step's.
#define PM_LOG_AS(name, format, ...)                                                               \
    mirlog_printf(PM_LEVEL_TRACE, PM_MODULE_MAIL, format, __LINE__, name __VA_OPT__(, ) __VA_ARGS__)
// The same as an error: what an operator has to know, whatever is traced.
#define PM_LOG_ERROR_AS(name, format, ...)                                                         \
    mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_MAIL, format, __LINE__, name __VA_OPT__(, ) __VA_ARGS__)
// "[%d]: ...": the source line alone.
#define PM_LOG_LINE(format, ...)                                                                   \
    mirlog_printf(PM_LEVEL_TRACE, PM_MODULE_MAIL, format, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
// "%s(): ...": the name alone, at a level of its own, for the service module.
#define PM_LOG_SERVICE(level, format, ...)                                                         \
    mirlog_printf(level, PM_MODULE_SERVICE, format, __func__ __VA_OPT__(, ) __VA_ARGS__)
