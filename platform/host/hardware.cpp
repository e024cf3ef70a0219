// IPMI access and system information: from [hardware] of pm.conf, else from the machine.
#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "platform/client/fd.h"
#include "platform/host/guard.h"
#include "platform/host/store.h"
#include "platform/ipmi.h"
#include "platform/logging.h"
#include "platform/system_info.h"

namespace pm::host {

using namespace client;

namespace {

constexpr const char* DMI_GUID = "/sys/class/dmi/id/product_uuid";
constexpr const char* INFO_OBJECT = "/com/braxel/norvu/hwi/system_embedded_1/HWI_SystemInfo";
constexpr const char* INFO_GUID = "smbiosGUID";

// Fills a fixed field; a text of the full length has no terminator.
template <size_t N>
void fillField(char (&field)[N], const std::string& text) {
    std::fill(field + text.copy(field, N), field + N, '\0');
}

// Empty if the machine has no GUID or it cannot be read.
std::string machineGuid() {
    const Fd file(::open(DMI_GUID, O_RDONLY | O_CLOEXEC));
    char text[64] = {};
    const ssize_t length = file.valid() ? ::read(file.get(), text, sizeof text - 1) : 0;
    return {text, length > 0 ? std::strcspn(text, "\n") : 0};
}

std::string systemName() {
    char name[IPMI_HOST_NAME_SIZE + 1] = {};
    return ::gethostname(name, sizeof name) == 0 ? name : "";
}

// Returns 0 if target is not null and read() succeeds, else -1.
template <typename Read>
int filled(const void* target, Read read) {
    return guarded("reading the hardware's values", -1,
                   [&] { return target != nullptr && read() ? 0 : -1; });
}

} // namespace

extern "C" int IPMIGetOEMChassisCode_HW(ipmi_chassis_code* record) {
    return filled(record, [&] {
        const auto code = storedText("hardware.chassis_code");
        if (code)
            fillField(record->code, *code);
        return code.has_value();
    });
}

extern "C" int IPMIGetOEMHostName_HW(ipmi_host_name* record) {
    return filled(record, [&] {
        const auto configured = storedText("hardware.host_name");
        const std::string name = configured ? *configured : systemName();
        record->leading = name.empty() ? 0 : 1;
        fillField(record->name, name);
        return true;
    });
}

extern "C" int IPMIGetCommunityString_HW(char* community) {
    return filled(community, [&] {
        const auto configured = storedText("hardware.community");
        if (configured && !configured->empty()) {
            std::strncpy(community, configured->c_str(), IPMI_COMMUNITY_SIZE);
            return true;
        }
        mirlog_printf(
            PM_LEVEL_ERROR, PM_MODULE_SERVICE,
            "no SNMP community: set the key hardware.community (pmctl set hardware.community TEXT, or community in [hardware] of pm.conf)");
        return false;
    });
}

extern "C" int HWI_SystemInfo_get_property(const char* object_path, const char* property,
                                           char** text) {
    return filled(text, [&] {
        if (object_path == nullptr || property == nullptr ||
            std::strcmp(object_path, INFO_OBJECT) != 0 || std::strcmp(property, INFO_GUID) != 0)
            return false;
        const auto configured = storedText("hardware.smbios_guid");
        const std::string guid = configured ? *configured : machineGuid();
        if (guid.empty())
            return false;
        *text = ::strdup(guid.c_str());
        return *text != nullptr;
    });
}

} // namespace pm::host
