#include "core/tables.h"

#include "core/directory_rule.h"
#include "core/events.h"
#include "mail/functions.h"
#include "trap/functions.h"

namespace pm {

constexpr FunctionRow pmEmailFunctionTable[] = {
    {"pm_function_sendEmailAlertsEx", sendEmailAlertsEx, 0},
    {"pm_function_sendTestEmailEx", sendTestEmailEx, 0},
    {"pm_function_sendTestEmail", sendTestEmail, 0},
    {"pm_function_sendAlertEmail", sendAlertEmail, 0},
    {"pm_function_sendGenericEmail", sendGenericEmail, 0},
    {nullptr, nullptr, 0},
};

constexpr FunctionRow pmTrapFunctionTable[] = {
    {"pm_function_sendIPMITestTrap", sendIPMITestTrap, 0},
    {"pm_function_sendSNMPTestTrap", sendSNMPTestTrap, 0},
    {"pm_function_sendTestTrap", sendTestTrap, 0},
    {nullptr, nullptr, 0},
};

constexpr qornc_event_row pmEventTable[] = {
    {"event_ipmi_pet", pmEventCallback, 1},
    {"qelctl_event_config_changed", pmEventCallback, 1},
    {"ipmi_lockdown_config", pmEventCallback, 1},
    {"CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$",
     MiscAttributeChangeCallback, 1},
    {nullptr, nullptr, 0},
};

constexpr qornc_service_name pmServiceName = {"email_trap_lqorn", 220};

// For the distribution-service client's own use; pm neither reads nor writes it.
alignas(8) static uint8_t clientBlock[24];

constexpr qornc_init_record pmServiceInitRecord = {
    .service = &pmServiceName,
    .block = clientBlock,
    .events = pmEventTable,
    .reserved3 = 0,
    .reserved4 = 0,
    .word5 = 26,
    .reserved6 = {},
};

} // namespace pm
