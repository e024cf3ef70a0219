// pmctl: asks pm, or tells it something, from the command line.
#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <sstream>

#include "pmctl/exchange.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {
namespace {

constexpr const char* EXAMPLES =
    "Examples:\n"
    "  pmctl list\n"
    "  pmctl set pm_str_email_server_address mail.example.com\n"
    "  pmctl event event_ipmi_pet --message 'Fan 3 failed'\n"
    "  pmctl mail --to ops@example.com --subject Hello --body 'Hello there'\n"
    "  pmctl check                                # what is wrong with the settings\n"
    "  pmctl status; pmctl log -n 50              # what has happened, and why\n"
    "\"pmctl VERB --help\" tells more.\n\n"
    "Exit status: 0 done, 1 pm answered with a failure or check found something,\n"
    "2 wrong use, 3 pm not reached or no answer in time.";

void declareGlobals(CLI::App& app, Options& options) {
    if (const char* root = std::getenv("PM_HOST_ROOT"))
        options.root = root;
    app.add_option("--root", options.root, "Folder below which pm runs; default PM_HOST_ROOT")
        ->type_name("DIR");
    app.add_option("--timeout", options.timeout, "Time to wait for an answer; default 300")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0));
    app.footer(EXAMPLES);
    app.require_subcommand(1);
    app.fallthrough();
}

int parseAndRun(int argc, char** argv) {
    Options options;
    CLI::App app("Asks a running pm, or tells it something.", "pmctl");
    declareGlobals(app, options);
    const Verb* chosen = nullptr;
    for (const auto& group : {serviceVerbs(), settingsVerbs(), eventVerbs(), mailVerbs(),
                              trapVerbs(), checkVerbs(), logVerbs(), statusVerbs()})
        for (const Verb& verb : group) {
            auto* command = app.add_subcommand(verb.name, verb.summary);
            command->footer(std::string("Examples:\n") + verb.examples);
            command->callback([&chosen, &verb] { chosen = &verb; });
            verb.declare(*command, options);
        }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const bool asked = app.exit(error, std::cout, text) == 0; // for help
        std::fputs(coloured(stderr, Colour::Red, text.str()).c_str(), stderr);
        return asked ? EXIT_DONE : EXIT_WRONG_USE;
    }
    const int status = chosen->run(options);
    if (std::fflush(stdout) == 0)
        return status;
    complain("standard output: %s", std::strerror(errno));
    return status == EXIT_DONE ? EXIT_FAILED : status;
}

} // namespace
} // namespace pm::ctl

int main(int argc, char** argv) {
    try {
        return pm::ctl::parseAndRun(argc, argv);
    } catch (const std::exception& exception) {
        pm::ctl::complain("%s", exception.what());
        return pm::ctl::EXIT_FAILED;
    }
}
