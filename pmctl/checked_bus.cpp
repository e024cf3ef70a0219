// Checks the log manager, a service on the system bus that sends traps on request.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <systemd/sd-bus.h>

#include "pmctl/checks.h"

namespace pm::ctl {

namespace {

constexpr const char* LOG_MANAGER = "com.braxel.norvu.tzkmanager";

bool holds(char** names, const char* name) {
    bool found = false;
    for (char** at = names; at != nullptr && *at != nullptr; ++at) {
        found = found || std::strcmp(*at, name) == 0;
        std::free(*at);
    }
    std::free(names);
    return found;
}

// Says why the log manager cannot be called; empty if it can.
std::string faultOfBus() {
    sd_bus* bus = nullptr;
    char** owned = nullptr;
    char** startable = nullptr;
    int result = sd_bus_open_system(&bus);
    if (result >= 0)
        result = sd_bus_list_names(bus, &owned, &startable);
    sd_bus_unref(bus);
    const bool isOwned = holds(owned, LOG_MANAGER);
    const bool isStartable = holds(startable, LOG_MANAGER);
    if (result < 0)
        return std::string("the system bus cannot be reached (") + std::strerror(-result) + ")";
    return isOwned || isStartable
               ? ""
               : std::string("no service on the system bus has the name ") + LOG_MANAGER;
}

} // namespace

void checkLogManager(Checked& checked) {
    for (int number = 1; number <= TRAP_DESTINATIONS; ++number) {
        const std::string state = numbered("Norvu.Embedded.1#SNMPAlert.*#State", number);
        if (!isOn(checked, state))
            continue;
        const std::string fault = faultOfBus();
        if (!fault.empty())
            addFinding(checked, Severity::Note, state,
                       "a trap cannot be sent by the log manager: " + fault +
                           "; \"pmctl test-trap\" sends without it");
        return;
    }
}

} // namespace pm::ctl
