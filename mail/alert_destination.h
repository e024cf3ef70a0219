// The four configured alert destinations.
#pragma once

#include <cstdint>

#include "config/switch.h"

namespace pm {

// Number and setting keys of a destination.
struct AlertDestination {
    int32_t number;
    const char* enabledKey;
    const char* destinationKey;
    const char* subjectKey;
    const char* bodyKey;
};

inline constexpr AlertDestination alertDestinations[] = {
    {1, "pm_bool_email_alert1_enabled", "pm_str_email_alert1_destination",
     "pm_str_email_alert1_subject", "pm_str_email_alert1_body"},
    {2, "pm_bool_email_alert2_enabled", "pm_str_email_alert2_destination",
     "pm_str_email_alert2_subject", "pm_str_email_alert2_body"},
    {3, "pm_bool_email_alert3_enabled", "pm_str_email_alert3_destination",
     "pm_str_email_alert3_subject", "pm_str_email_alert3_body"},
    {4, "pm_bool_email_alert4_enabled", "pm_str_email_alert4_destination",
     "pm_str_email_alert4_subject", "pm_str_email_alert4_body"},
};
inline constexpr int32_t ALERT_DESTINATIONS =
    int32_t{sizeof alertDestinations / sizeof(AlertDestination)};

// The destination with that number, 1 to 4; null for any other number.
inline const AlertDestination* findAlertDestination(int32_t index) {
    return index >= 1 && index <= ALERT_DESTINATIONS ? &alertDestinations[index - 1] : nullptr;
}

// Reads whether the destination is enabled. If it is not On, logs that under the
// operation's name.
SwitchState readDestinationSwitch(const char* operation, const AlertDestination& keys);

} // namespace pm
