#include "mail/alert_destination.h"

#include "platform/logging.h"
#include "platform/read.h"

namespace pm {

Enabled readEnabled(const char* operation, const AlertDestination& keys) {
    bool enabled = false;
    if (!readSetting(keys.enabledKey, enabled)) {
        PM_LOG_AS(operation, "[%d]: %s() - could not get email notify %d enabled from VESK\n",
                  keys.number);
        return Enabled::Unreadable;
    }
    if (!enabled) {
        PM_LOG_AS(operation, "[%d]: %s() - email notify %d not enabled\n", keys.number);
        return Enabled::Off;
    }
    return Enabled::On;
}

} // namespace pm
