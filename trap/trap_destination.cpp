#include "trap/trap_destination.h"

#include <arpa/inet.h>
#include <cstring>

#include "common/port.h"
#include "config/attribute_object.h"
#include "config/switch.h"
#include "platform/logging.h"

namespace pm {

namespace {

// Reads an enable attribute, "1" or "0". Any other value is logged, and is Unreadable.
SwitchState readFamilySwitch(const char* key) {
    Text<64> value;
    if (readAttributeObject(key, value) != 0)
        return SwitchState::Unreadable;
    if (value.empty()) {
        PM_LOG_AS("IsNorvuIPv6only",
                  "function getAttributeObjectByKey returned an empty string, for key=%s\n", key);
        return SwitchState::Unreadable;
    }
    if (value.equals("1"))
        return SwitchState::On;
    if (value.equals("0"))
        return SwitchState::Off;
    PM_LOG_AS(
        "IsNorvuIPv6only",
        "function getAttributeObjectByKey returned an invalid data value = %s, returning false\n",
        value.c_str());
    return SwitchState::Unreadable;
}

} // namespace

bool getSNMPCommunityName(Community& community) {
    char record[IPMI_COMMUNITY_SIZE] = {};
    const int result = IPMIGetCommunityString_HW(record);
    if (result != 0) {
        PM_LOG("VESK-registered function %s failed with rc = %d, returning false\n",
               "IPMIGetCommunityString", result);
        return false;
    }
    community.assign(fieldText(record, sizeof record));
    return true;
}

bool getSNMPTrapPort(int32_t& port) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    Text<64> text;
    const int32_t status = readAttributeObject("Norvu.Embedded.1#SNMP.1#AlertPort", text);
    if (status != 0) {
        PM_LOG("failed to get SNMP trap dest port using key , with status %d returning false\n",
               status);
        return false;
    }
    if (text.empty()) {
        PM_LOG("empty SNMP trap dest port string obtained using DM object key , returning false\n");
        return false;
    }
    PM_LOG_WHOLE("[%d]: %s() trap destination port number string  = %s\n", text.c_str());
    const int32_t number = parseNumber(text.c_str());
    PM_LOG_WHOLE("[%d]: %s() trap destination port number = %d\n", number);
    if (!isPort(number)) {
        PM_LOG("invalid trap destination port , returning false\n");
        return false;
    }
    port = number;
    return true;
}

bool getSNMPTrapDestination(int32_t index, Text<256>& destination) {
    Text<64> key;
    key.format("Norvu.Embedded.1#SNMPAlert.%d#Destination", index);
    const int32_t status = readAttributeObject(key.c_str(), destination);
    if (status != 0) {
        PM_LOG("function getAttributeObjectByKey failed with status = %d, returning false\n",
               status);
        return false;
    }
    if (destination.empty()) {
        PM_LOG("function getAttributeObjectByKey returned an empty string, returning false\n");
        return false;
    }
    return true;
}

TrapDestinationType getSNMPTrapDestinationType(const char* destination) {
    in_addr address = {};
    if (std::strchr(destination, ':') != nullptr) {
        PM_LOG("type = IPv6; string = %s\n", destination);
        return TrapDestinationType::IPv6;
    }
    if (inet_pton(AF_INET, destination, &address) > 0) {
        PM_LOG("type = IPv4; string = %s\n", destination);
        return TrapDestinationType::IPv4;
    }
    PM_LOG("type = FQDN; string = %s\n", destination);
    return TrapDestinationType::FQDN;
}

bool IsNorvuIPv6only() {
    return readFamilySwitch("Norvu.Embedded.1#IPv4.1#Enable") == SwitchState::Off &&
           readFamilySwitch("Norvu.Embedded.1#IPv6.1#Enable") == SwitchState::On;
}

} // namespace pm
