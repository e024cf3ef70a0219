#include "trap/send_trap.h"

#include "common/status.h"
#include "common/trap_rules.h"
#include "platform/commands.h"
#include "platform/logging.h"
#include "trap/trap_destination.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "sendTrap";

bool areSafe(int32_t index, const Community& community, const Text<256>& destination) {
    if (!isSafeCommunity(community.view())) {
        PM_LOG_AS(
            OPERATION,
            "the community holds a quote, backslash or control character, no trap is sent for index %d, returning VESK_ERROR_GENERAL\n",
            index);
        return false;
    }
    if (!isSafeDestination(destination.view())) {
        PM_LOG_AS(
            OPERATION,
            "the destination of index %d is neither an address nor a host name, no trap is sent, returning VESK_ERROR_GENERAL\n",
            index);
        return false;
    }
    return true;
}

// Chooses prefix and suffix that make the destination a peer address of net-snmp:
// "udp6:[ADDRESS]:PORT", "udp6:NAME:PORT" or "DESTINATION:PORT".
void choosePeer(const char* destination, int32_t port, const char*& prefix, Text<16>& suffix) {
    const TrapDestinationType type = getSNMPTrapDestinationType(destination);
    prefix = "";
    if (type == TrapDestinationType::IPv6) {
        prefix = "udp6:[";
        suffix.format("]:%d", port);
        return;
    }
    if (type == TrapDestinationType::FQDN && IsNorvuIPv6only())
        prefix = "udp6:";
    suffix.format(":%d", port);
}

} // namespace

int32_t sendTrap(int32_t index, const VarBindText& varBind) {
    Community community;
    if (!getSNMPCommunityName(community)) {
        PM_LOG("Failed to get SNMP community name, returning VESK_ERROR_GENERAL\n");
        return VESK_ERROR_GENERAL;
    }
    int32_t port = DEFAULT_TRAP_PORT;
    if (!getSNMPTrapPort(port))
        PM_LOG(
            "Failed to get SNMP trap port or invalid port setting, setting it back to default value 162\n");
    Text<256> destination;
    if (!getSNMPTrapDestination(index, destination)) {
        PM_LOG(
            "failed to get SNMP trap dest string, or invalid type, for index %d, returning VESK_ERROR_GENERAL\n",
            index);
        return VESK_ERROR_GENERAL;
    }
    if (!areSafe(index, community, destination))
        return VESK_ERROR_GENERAL;

    const char* prefix = nullptr;
    Text<16> suffix;
    choosePeer(destination.c_str(), port, prefix, suffix);
    PM_LOG_WHOLE("[%d]: %s() pIPv6DecorationEnd= %s\n", suffix.c_str());
    Text<1024> command;
    command.format("snmptrap -v 1 -c '%s' %s%s%s %s '' %s %s '' %s", community.c_str(), prefix,
                   destination.c_str(), suffix.c_str(), ".1.3.6.1.4.1.3183.1.1", "6", "1001",
                   varBind.c_str());
    PM_LOG("executing: [%s]\n", command.c_str());
    vesk_exec_systemcmd(command.c_str());
    return 0;
}

} // namespace pm
