#include <cstring>
#include <memory>
#include <systemd/sd-bus.h>

#include "common/status.h"
#include "common/text.h"
#include "config/attribute_object.h"
#include "platform/logging.h"
#include "trap/functions.h"
#include "trap/trap_index.h"

namespace pm {

namespace {

constexpr int32_t CALL_NOT_CREATED = 256;

struct BusRelease {
    void operator()(sd_bus* bus) const { sd_bus_unref(bus); }
};
using BusOwner = std::unique_ptr<sd_bus, BusRelease>;

struct MessageRelease {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessageOwner = std::unique_ptr<sd_bus_message, MessageRelease>;

// Calls the method and returns the service's number or a failure, as described below.
// Each return releases reply, call and bus, in this order.
int32_t callTestTrap(const BusOwner bus, uint32_t index) {
    sd_bus_message* created = nullptr;
    int result = sd_bus_message_new_method_call(bus.get(), &created, "com.braxel.norvu.tzkmanager",
                                                "/com/braxel/norvu/tzkmanager/TZK",
                                                "com.braxel.norvu.tzkmanager.TZK", "TestSNMPTrap");
    const MessageOwner call(created);
    if (result < 0) {
        PM_LOG_LINE("sd_bus_message_new_method_call failed\n");
        return CALL_NOT_CREATED;
    }
    result = sd_bus_message_append(call.get(), "u", index);
    if (result < 0) {
        PM_LOG_LINE("Failed to append fixed args: %s\n", std::strerror(-result));
        return -1;
    }
    sd_bus_message* received = nullptr;
    result = sd_bus_call(bus.get(), call.get(), 0, nullptr, &received);
    const MessageOwner reply(received);
    if (result < 0) {
        PM_LOG_LINE("Failed to call method: %s\n", std::strerror(-result));
        return -1;
    }
    int32_t status = 0;
    result = sd_bus_message_read(reply.get(), "i", &status);
    if (result < 0) {
        PM_LOG_LINE("Failed to parse response: %s\n", std::strerror(-result));
        return -1;
    }
    return status;
}

bool isEnabled(int32_t index) {
    Text<64> key;
    key.format("Norvu.Embedded.1#SNMPAlert.%d#State", index);
    Text<64> state;
    return readAttributeObject(key.c_str(), state) == 0 && state.equals("1");
}

// Calls TestSNMPTrap of the log-manager service. Returns the number in its reply, 256 if
// the call cannot be created, or -1 for any other failure.
int32_t SnmpTestTrapSubmitEvent(uint32_t index) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    sd_bus* bus = nullptr;
    const int result = sd_bus_default(&bus);
    if (result < 0) {
        PM_LOG_LINE("Failed to connect to system bus: %s", std::strerror(-result));
        return -1;
    }
    const int32_t status = callTestTrap(BusOwner(bus), index);
    PM_LOG("Exit with status=%d\n", status);
    return status;
}

} // namespace

int32_t sendSNMPTestTrap(uint32_t request_size, void* request_data) {
    int32_t index = 0;
    if (!takeTrapIndex(__func__, request_size, request_data, index))
        return VESK_ERROR_INVALID_PARAMETER;
    if (!isEnabled(index)) {
        PM_LOG("SNMP trap dest #%d is not enabled, returning VESK_ERROR_GENERAL\n", index);
        return VESK_ERROR_GENERAL;
    }
    const int32_t status = SnmpTestTrapSubmitEvent(static_cast<uint32_t>(index));
    PM_LOG("Exit with status=%d\n", status);
    return 0;
}

} // namespace pm
