// The guard of the C interface: nothing is thrown into a caller.
#pragma once

#include <exception>

#include "platform/logging.h"

namespace pm::host {

// Returns call(), or failed after an error line if it throws. what: the operation, or the
// key or name that it was called for.
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
