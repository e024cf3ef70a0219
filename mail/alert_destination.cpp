#include "mail/alert_destination.h"

#include "config/read.h"
#include "platform/logging.h"

namespace pm {

SwitchState readDestinationSwitch(const char* operation, const AlertDestination& keys) {
    bool enabled = false;
    if (!readSetting(keys.enabledKey, enabled)) {
        PM_LOG_AS(operation, "could not get email notify %d enabled from VESK\n", keys.number);
        return SwitchState::Unreadable;
    }
    if (!enabled) {
        PM_LOG_AS(operation, "email notify %d not enabled\n", keys.number);
        return SwitchState::Off;
    }
    return SwitchState::On;
}

} // namespace pm
