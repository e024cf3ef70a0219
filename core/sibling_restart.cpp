#include "core/sibling_restart.h"

#include "common/text.h"
#include "platform/commands.h"
#include "platform/logging.h"
#include "platform/services.h"

namespace pm {

namespace {

constexpr uint32_t REQUEST_RESTART = 2;

struct __attribute__((packed)) ServiceRequest {
    uint32_t code;
    char service[64];
};
static_assert(sizeof(ServiceRequest) == 68);

} // namespace

void processQelctlConfigChangedEvent() {
    const ServiceRequest request = {REQUEST_RESTART, "qelctl_ipmiextd.service"};
    uint32_t size = sizeof request;
    uint32_t word = 0;
    if (vesk_function_execute_QORN("teshServiceRequest", &size, &request, sizeof request, &word) ==
        0)
        return;
    const Text<255> command("systemctl restart qelctl_ipmiextd.service");
    PM_LOG("QELCTL Config Change Event, sending this cmd to restart service: %s\n",
           command.c_str());
    vesk_exec_systemcmd(command.c_str());
}

} // namespace pm
