// test-trap.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "common/records.h"
#include "pmctl/exchange.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

struct Road {
    std::string_view name;
    const char* function;
    const char* outcome; // all that its success says
};

constexpr std::array<Road, 3> roads = {{
    {"front", "pm_function_sendTestTrap", "the log manager was asked for the trap"},
    {"snmp", "pm_function_sendSNMPTestTrap", "the log manager was asked for the trap"},
    {"ipmi", "pm_function_sendIPMITestTrap", "the trap was started"},
}};

void declareTestTrap(CLI::App& verb, Options& options) {
    verb.add_option("INDEX", options.index, "Trap destination, 1 to 8")
        ->required()
        ->check(CLI::Range(0, UINT8_MAX));
    verb.add_option("--road", options.road,
                    "front (default) or snmp: by the log manager; ipmi: by snmptrap")
        ->check(CLI::IsMember({"front", "snmp", "ipmi"}));
}

int testTrap(const Options& options) {
    const auto* road = std::ranges::find(roads, options.road, &Road::name);
    if (road == roads.end())
        road = roads.begin();
    const IndexRequest record = {static_cast<uint8_t>(options.index)};
    const int status = callFunctionWith(options, road->function, record);
    if (status == EXIT_DONE)
        std::printf("%s\n", road->outcome);
    return status;
}

constexpr Verb verbs[] = {
    {"test-trap", "Sends a test trap to a destination",
     "  pmctl test-trap 1\n  pmctl test-trap 1 --road ipmi", declareTestTrap, testTrap},
};

} // namespace

std::span<const Verb> trapVerbs() {
    return verbs;
}

} // namespace pm::ctl
