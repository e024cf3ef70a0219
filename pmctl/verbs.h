// The tables of verbs, one for each source file.
#pragma once

#include <CLI/App.hpp>
#include <span>

#include "pmctl/options.h"

namespace pm::ctl {

struct Verb {
    const char* name;
    const char* summary;
    const char* examples;
    void (*declare)(CLI::App& verb, Options& options); // declares its options
    int (*run)(const Options& options);                // returns the exit status
};

std::span<const Verb> serviceVerbs();
std::span<const Verb> settingsVerbs();
std::span<const Verb> eventVerbs();
std::span<const Verb> mailVerbs();
std::span<const Verb> trapVerbs();
std::span<const Verb> checkVerbs();
std::span<const Verb> logVerbs();
std::span<const Verb> statusVerbs();
std::span<const Verb> drainVerbs();

// Declares the argument INDEX, from 1 to most.
void declareIndex(CLI::App& verb, Options& options, const char* what, int most);

// Declare the options --json and --utc.
void declareJson(CLI::App& verb, Options& options);
void declareUtc(CLI::App& verb, Options& options);

} // namespace pm::ctl
