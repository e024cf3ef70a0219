// test-trap.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <netdb.h>
#include <string_view>
#include <sys/socket.h>

#include "common/records.h"
#include "pmctl/checks.h"
#include "pmctl/exchange.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

struct Via {
    std::string_view name;
    const char* function;
    bool logManager;
};

// The last two names are old ones that still work.
constexpr std::array<Via, 4> vias = {{
    {"ipmi", "pm_function_sendIPMITestTrap", false},
    {"log-manager", "pm_function_sendTestTrap", true},
    {"front", "pm_function_sendTestTrap", true},
    {"snmp", "pm_function_sendSNMPTestTrap", true},
}};

void declareTestTrap(CLI::App& verb, Options& options) {
    declareIndex(verb, options, "Trap destination", TRAP_DESTINATIONS);
    const auto known = CLI::Validator(
        [](const std::string& word) {
            return std::ranges::find(vias, word, &Via::name) == vias.end()
                       ? "\"" + word + "\" is neither ipmi nor log-manager"
                       : "";
        },
        "");
    verb.add_option("--via", options.via,
                    "ipmi (default): pm runs snmptrap; log-manager: pm asks the log manager")
        ->check(known);
    verb.add_option("--road", options.via)->group("")->check(known); // the old name of --via
}

// snmptrap does not report a name that it cannot resolve, so report it here.
void printUnresolved(const std::string& destination) {
    addrinfo* found = nullptr;
    const int error = destination.empty() || familyOf(destination) != AF_UNSPEC
                          ? 0
                          : ::getaddrinfo(destination.c_str(), nullptr, nullptr, &found);
    if (found != nullptr)
        ::freeaddrinfo(found);
    const char* fault = destinationFault(destination);
    if (fault != nullptr)
        complain("%s %s", destination.c_str(), fault);
    else if (error != 0)
        complain("%s does not resolve: %s", destination.c_str(), ::gai_strerror(error));
}

int testTrap(const Options& options) {
    const auto* via = std::ranges::find(vias, options.via, &Via::name);
    if (via == vias.end())
        via = vias.begin();
    const std::string key = "Norvu.Embedded.1#SNMPAlert." + std::to_string(options.index);
    const IndexRequest record = {static_cast<uint8_t>(options.index)};
    const int status = callFunctionWith(options, via->function, record);
    if (status != EXIT_DONE && !via->logManager)
        printUnresolved(valueOf(options, key + "#Destination"));
    if (status != EXIT_DONE)
        return status;
    if (via->logManager)
        std::printf("the log manager was asked for a trap to destination %d; whether it was sent, "
                    "it alone knows\n",
                    options.index);
    else
        std::printf("a test trap was sent to %s, port %s; traps are not acknowledged\n",
                    valueOf(options, key + "#Destination").c_str(),
                    valueOf(options, "Norvu.Embedded.1#SNMP.1#AlertPort").c_str());
    return EXIT_DONE;
}

} // namespace

std::span<const Verb> trapVerbs() {
    static constexpr Verb verbs[] = {
        {"test-trap", "Sends a test trap to a destination",
         "  pmctl test-trap 1\n"
         "  pmctl test-trap 1 --via log-manager\n"
         "A destination is a name or an address. Write an IPv6 address as ::1, without\n"
         "brackets, \"udp6:\" or port.",
         declareTestTrap, testTrap},
    };
    return verbs;
}

} // namespace pm::ctl
