// pmctl: the command line client of pm.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <sstream>

#include "platform/client/schema.h"
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
    "  pmctl check                                # finds faults in the settings\n"
    "  pmctl status; pmctl log -n 50              # counts, and the last log lines\n"
    "\"pmctl VERB --help\" shows a verb's options.\n\n"
    "Exit status: 0 done, 1 pm answered with a failure or check found something,\n"
    "2 wrong usage, 3 pm not reached or no answer in time.";

void declareGlobals(CLI::App& app, Options& options) {
    if (const char* root = std::getenv("PM_HOST_ROOT"))
        options.root = root;
    app.add_option("--root", options.root, "Root folder of pm's files; default PM_HOST_ROOT")
        ->type_name("DIR")
        ->take_last();
    app.add_option("--timeout", options.timeout, "Time limit for an answer; default 300")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0))
        ->take_last();
    app.set_version_flag("--version", "pmctl " PM_VERSION);
    app.footer(EXAMPLES);
    app.require_subcommand(1);
    app.fallthrough();
}

void declareVerbs(CLI::App& app, Options& options, const Verb*& chosen) {
    for (const auto& group : {serviceVerbs(), settingsVerbs(), eventVerbs(), mailVerbs(),
                              trapVerbs(), checkVerbs(), logVerbs(), statusVerbs(), drainVerbs()})
        for (const Verb& verb : group) {
            auto* command = app.add_subcommand(verb.name, verb.summary);
            command->footer(std::string("Examples:\n") + verb.examples);
            command->callback([&chosen, &verb] { chosen = &verb; });
            verb.declare(*command, options);
        }
}

// The verb most similar to a misspelt one; empty if none is similar.
std::string nearestVerb(const CLI::App& app, const std::string& word) {
    std::string nearest;
    size_t best = std::min<size_t>(word.size() / 3, 3) + 1;
    for (const CLI::App* verb : app.get_subcommands({})) {
        const size_t distance = client::editDistance(word, verb->get_name());
        if (distance < best) {
            best = distance;
            nearest = verb->get_name();
        }
    }
    return nearest;
}

int printNoVerb(const CLI::App& app, const std::string& word) {
    const std::string nearest = nearestVerb(app, word);
    complain("there is no verb \"%s\"; %s%s%s", word.c_str(),
             nearest.empty() ? "" : "did you mean \"", nearest.c_str(),
             nearest.empty() ? "\"pmctl help\" lists them" : "\"?");
    return EXIT_WRONG_USE;
}

int printHelp(CLI::App& app, const std::string& verb) {
    const std::vector<CLI::App*> verbs = app.get_subcommands({});
    const auto known =
        std::ranges::find(verbs, verb, [](CLI::App* each) { return each->get_name(); });
    if (!verb.empty() && known == verbs.end())
        return printNoVerb(app, verb);
    const CLI::App* asked = verb.empty() ? &app : *known;
    const std::string name = verb.empty() ? "pmctl" : "pmctl " + verb;
    std::printf("%s",
                app.get_formatter()->make_help(asked, name, CLI::AppFormatMode::Normal).c_str());
    return EXIT_DONE;
}

int printParseError(CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream text;
    const bool asked = app.exit(error, std::cout, text) == 0; // the user asked for help
    const std::vector<std::string> words = app.remaining();
    if (!asked && app.get_subcommands().empty()) {
        if (!words.empty() && !words.front().starts_with('-'))
            return printNoVerb(app, words.front());
        if (words.empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)
            return wrongUse("a verb is needed; \"pmctl help\" lists them");
    }
    std::fputs(coloured(stderr, Colour::Red, text.str()).c_str(), stderr);
    return asked ? EXIT_DONE : EXIT_WRONG_USE;
}

int parseAndRun(int argc, char** argv) {
    Options options;
    CLI::App app("Calls a running pm: functions, events, settings, log.", "pmctl");
    declareGlobals(app, options);
    const Verb* chosen = nullptr;
    declareVerbs(app, options, chosen);
    CLI::App* help = app.add_subcommand("help", "Lists the verbs, or a verb's options");
    help->add_option("VERB", options.name, "Verb")->type_name("");
    try {
        app.parse(argc, argv);
        if (help->parsed())
            return printHelp(app, options.name);
    } catch (const CLI::ParseError& error) {
        return printParseError(app, error);
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
