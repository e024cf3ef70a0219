// Catches exceptions at the C interface: none may reach a caller.
#pragma once

#include <exception>

#include "platform/logging.h"

namespace pm::host {

// Returns call(). If it throws, logs an error line and returns failed. what: names the
// operation, key or function in that line.
template <typename Result, typename Call>
Result guarded(const char* what, Result failed, Call call) {
    try {
        return call();
    } catch (const std::exception& exception) {
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "%s failed: %s", what, exception.what());
        return failed;
    }
}

} // namespace pm::host
