// check: finds faults in the settings before they do harm.
#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/client/printable.h"
#include "pmctl/checks.h"
#include "pmctl/exchange.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

void declareCheck(CLI::App& verb, Options& options) {
    verb.add_option("FILE", options.file, "Settings file; default etc/pm.conf below the root");
    verb.add_flag("--offline", options.offline, "Look up no names and connect to nothing");
    declareJson(verb, options);
}

void addFindings(Checked& checked, const SettingsFile& file) {
    for (const SettingsFinding& finding : file.findings)
        checked.findings.push_back({Severity::Error, finding});
}

void checkAll(Checked& checked, bool offline) {
    checked.file = readSettingsFile(checked.path);
    addFindings(checked, checked.file);
    if (checked.file.error != 0) {
        checked.findings.back().where.message += "; does it exist, and may you read it?";
        return; // further findings would be about defaults only
    }
    checked.runTime = readSettingsFile(checked.runTimePath);
    if (checked.runTime.error != ENOENT)
        addFindings(checked, checked.runTime);
    checkValues(checked);
    checkMail(checked);
    checkMachine(checked);
    if (!offline) {
        checkNetwork(checked);
        checkLogManager(checked);
    }
    // The settings file first, by line; findings without a line last.
    std::ranges::stable_sort(checked.findings, {}, [&](const Finding& finding) {
        const auto line = static_cast<unsigned>(finding.where.line) - 1U;
        return std::pair(finding.where.file != checked.path, line);
    });
}

const char* severityName(Severity severity) {
    constexpr const char* NAMES[] = {"error", "warning", "note"};
    return NAMES[static_cast<size_t>(severity)];
}

bool isSound(const Checked& checked) {
    return std::ranges::all_of(checked.findings, [](const Finding& finding) {
        return finding.severity == Severity::Note;
    });
}

void printText(const Checked& checked) {
    for (const Finding& finding : checked.findings) {
        const Colour colour = finding.severity == Severity::Error ? Colour::Red : Colour::Yellow;
        std::printf("%s: %s\n", coloured(stdout, colour, severityName(finding.severity)).c_str(),
                    escapeControls(findingText(finding.where)).c_str());
    }
    if (isSound(checked))
        std::fprintf(stderr, "pmctl: nothing is wrong with %s\n", checked.path.c_str());
}

void printJson(const Checked& checked) {
    std::vector<std::string> findings;
    for (const auto& [severity, where] : checked.findings)
        findings.push_back(
            jsonObject({{"severity", jsonText(severityName(severity))},
                        {"file", jsonText(where.file)},
                        {"line", where.line == 0 ? "null" : std::to_string(where.line)},
                        {"key", where.key.empty() ? "null" : jsonText(where.key)},
                        {"message", jsonText(where.message)}}));
    std::printf(
        "%s\n",
        jsonObject({{"file", jsonText(checked.path)}, {"findings", jsonArray(findings)}}).c_str());
}

int check(const Options& options) {
    Checked checked;
    checked.path = options.file.empty() ? belowRoot(options, SETTINGS_FILE) : options.file;
    checked.runTimePath = belowRoot(options, RUN_TIME_FILE);
    checkAll(checked, options.offline);
    if (options.json)
        printJson(checked);
    else
        printText(checked);
    return isSound(checked) ? EXIT_DONE : EXIT_FAILED;
}

} // namespace

std::span<const Verb> checkVerbs() {
    static constexpr Verb verbs[] = {
        {"check", "Finds faults in the settings, one a line; needs no running pm",
         "  pmctl check                     # /etc/pm.conf and the values set at run time\n"
         "  pmctl check --offline draft.conf\n"
         "  pmctl check --json | jq -r '.findings[].message'",
         declareCheck, check},
    };
    return verbs;
}

} // namespace pm::ctl
