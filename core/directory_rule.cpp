#include "core/directory_rule.h"

#include <string_view>
#include <strings.h>

#include "common/records.h"
#include "config/read.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr uint32_t SMALLEST_CHANGE = 56;
constexpr int32_t ENABLED = 1;

constexpr const char* OPERATION = "MiscAttributeChangeCallback";

struct DirectoryService {
    std::string_view attribute; // names that begin with it match, in any case
    const char* modeKey;
    const char* modeName; // in log lines
    bool remoteLog;       // the mode is reported to log_rlog
};

constexpr DirectoryService activeDirectory = {"norvu.embedded.1#activedirectory.1#enable",
                                              "pam_int_ad_enable_mode_pl", "CONFIG_AD_ENABLE_MODE",
                                              true};
constexpr DirectoryService ldap = {"norvu.embedded.1#ldap.1#enable", "pam_int_ldap_enable_mode",
                                   "CONFIG_LDAP_ENABLE_MODE", false};
static_assert(activeDirectory.attribute.size() == 41 && ldap.attribute.size() == 30);

bool isNamed(const DirectoryService& service, const char* name) {
    return strncasecmp(name, service.attribute.data(), service.attribute.size()) == 0;
}

void logDisabled(const DirectoryService& service) {
    if (&service == &activeDirectory)
        PM_LOG_AS(OPERATION, "AD has been disabled\n");
    else
        PM_LOG_AS(OPERATION, "LDAP has been disabled\n");
}

// If the changed service is enabled now, disables the other one.
void disableOther(const DirectoryService& changed, const DirectoryService& other) {
    int32_t mode = 0;
    if (!readSetting(changed.modeKey, mode)) {
        PM_LOG_AS(OPERATION, "could not get the value of %s\n", changed.modeName);
        return;
    }
    if (changed.remoteLog)
        log_rlog(mode == ENABLED ? 1 : 2);
    if (mode != ENABLED)
        return;
    int32_t otherMode = 0;
    if (!readSetting(other.modeKey, otherMode) || otherMode != ENABLED)
        return;
    if (bit0(static_cast<unsigned>(vesk_config_set_int(other.modeKey, 0, 1))))
        logDisabled(other);
    else
        PM_LOG_AS(OPERATION, "could not set the value of %s\n", other.modeName);
}

} // namespace

int32_t MiscAttributeChangeCallback(void*, const char* topic, const void* record) {
    if (record == nullptr) {
        PM_LOG_SERVICE(PM_LEVEL_ERROR, "%s(): Invalid notification header, NULL!");
        return 0;
    }
    const auto* change = static_cast<const AttributeChangeRecord*>(record);
    PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s(): Entered for topic=<%s>", topic);
    PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s(): HeaderType=%d, Size=%d.", int{change->HeaderType},
                   static_cast<int>(change->Size));
    if (change->HeaderType != HEADER_TYPE_ATTRIBUTE_CHANGE || change->Size < SMALLEST_CHANGE) {
        PM_LOG_SERVICE(PM_LEVEL_TRACE, "%s(): Unsupported notification type");
        return 0;
    }
    const char* name = attributeName(record);
    if (isNamed(activeDirectory, name))
        disableOther(activeDirectory, ldap);
    else if (isNamed(ldap, name))
        disableOther(ldap, activeDirectory);
    return 0;
}

} // namespace pm
