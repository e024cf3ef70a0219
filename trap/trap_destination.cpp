#include "trap/trap_destination.h"

#include <arpa/inet.h>
#include <cstring>

#include "platform/attribute_object.h"
#include "platform/logging.h"
#include "platform/port_attribute.h"

namespace pm {

namespace {

enum class Enable : uint8_t { Unknown, Off, On };

// An enable attribute as "1" or "0"; anything else is unknown and has its line.
Enable readEnable(const char* key) {
    Text<64> value;
    if (getAttributeObjectByKeyDbus(key, value.data(), int{Text<64>::capacity()}) != 0)
        return Enable::Unknown;
    if (value.empty()) {
        PM_LOG_AS("IsNorvuIPv6only",
                  "[%d]: %s() - function getAttributeObjectByKey returned an empty string, for "
                  "key=%s\n",
                  key);
        return Enable::Unknown;
    }
    if (value.equals("1"))
        return Enable::On;
    if (value.equals("0"))
        return Enable::Off;
    PM_LOG_AS("IsNorvuIPv6only",
              "[%d]: %s() - function getAttributeObjectByKey returned an invalid data value = %s, "
              "returning false\n",
              value.c_str());
    return Enable::Unknown;
}

} // namespace

bool getSNMPCommunityName(Community& community) {
    char record[IPMI_COMMUNITY_SIZE] = {};
    const int result = IPMIGetCommunityString_HW(record);
    if (result != 0) {
        PM_LOG("[%d]: %s() - VESK-registered function %s failed with rc = %d, returning false\n",
               "IPMIGetCommunityString", result);
        return false;
    }
    community.assign(fieldText(record, sizeof record));
    return true;
}

bool getSNMPTrapPort(int32_t& port) {
    constexpr PortWords WORDS = {.operation = "getSNMPTrapPort",
                                 .unreadable = "SNMP trap dest port using",
                                 .empty = "SNMP trap dest port",
                                 .number = "trap destination port"};
    return readPortAttribute("Norvu.Embedded.1#SNMP.1#AlertPort", WORDS, port);
}

bool getSNMPTrapDestination(int32_t index, Text<256>& destination) {
    Text<64> key;
    key.format("Norvu.Embedded.1#SNMPAlert.%d#Destination", index);
    const int32_t status =
        getAttributeObjectByKeyDbus(key.c_str(), destination.data(), int{Text<256>::capacity()});
    if (status != 0) {
        PM_LOG("[%d]: %s() - function getAttributeObjectByKey failed with status = %d, returning "
               "false\n",
               status);
        return false;
    }
    if (destination.empty()) {
        PM_LOG("[%d]: %s() - function getAttributeObjectByKey returned an empty string, returning "
               "false\n");
        return false;
    }
    return true;
}

TrapDestinationType getSNMPTrapDestinationType(const char* destination) {
    in_addr address = {};
    if (std::strchr(destination, ':') != nullptr) {
        PM_LOG("[%d]: %s() - type = IPv6; string = %s\n", destination);
        return TrapDestinationType::IPv6;
    }
    if (inet_pton(AF_INET, destination, &address) > 0) {
        PM_LOG("[%d]: %s() - type = IPv4; string = %s\n", destination);
        return TrapDestinationType::IPv4;
    }
    PM_LOG("[%d]: %s() - type = FQDN; string = %s\n", destination);
    return TrapDestinationType::FQDN;
}

bool IsNorvuIPv6only() {
    return readEnable("Norvu.Embedded.1#IPv4.1#Enable") == Enable::Off &&
           readEnable("Norvu.Embedded.1#IPv6.1#Enable") == Enable::On;
}

} // namespace pm
