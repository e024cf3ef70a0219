// get, set, unset.
#include <cstdio>

#include "platform/client/printable.h"
#include "platform/client/schema.h"
#include "pmctl/checks.h"
#include "pmctl/exchange.h"
#include "pmctl/input.h"
#include "pmctl/output.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

void declareKey(CLI::App& verb, Options& options) {
    verb.add_option("KEY", options.name, "Setting, attribute (in any case) or hardware.NAME")
        ->required();
}

void declareGet(CLI::App& verb, Options& options) {
    declareKey(verb, options);
    auto* verbose =
        verb.add_flag("-v,--verbose", options.verbose, "Also print where the value comes from");
    declareJson(verb, options);
    verb.get_option("--json")->excludes(verbose);
}

void declareSet(CLI::App& verb, Options& options) {
    declareKey(verb, options);
    auto* given = verb.add_option_group("Given", "The value");
    given->add_option("VALUE", options.value,
                      "Value; - reads standard input; write -- before a value with a hyphen");
    given->add_option("--file", options.file, "File that contains the value");
    given->require_option(1);
}

// Reads the value from the argument, a file or standard input. On failure prints why.
bool readValue(const Options& options, std::string& value) {
    value = options.value;
    if (options.file.empty() && value != "-")
        return true;
    value.clear();
    if (!readInput(options.file.empty() ? "-" : options.file, value))
        return false;
    if (value.ends_with('\n')) // ends the line, not part of the value
        value.pop_back();
    if (value.ends_with('\r'))
        value.pop_back();
    return true;
}

bool isTrapDestination(const std::string& name) {
    const auto key = findKey(name);
    return key && std::string_view(schemaRow(*key).name).ends_with("SNMPAlert.*#Destination");
}

// The value as JSON, by its key's type: text stays text even if it looks like a number.
std::string jsonValue(const std::string& name, const std::string& value) {
    const auto key = findKey(name);
    const bool number = key && schemaRow(*key).type == ValueType::Int && wholeNumber(value);
    const bool truth = key && schemaRow(*key).type == ValueType::Bool;
    return number ? std::to_string(*wholeNumber(value)) : truth ? value : jsonText(value);
}

int get(const Options& options) {
    Reply reply;
    const int status = ask(options, {"get", {options.name}, {}}, reply);
    if (status != EXIT_DONE || reply.fields.size() < 3)
        return status == EXIT_DONE ? EXIT_FAILED : status;
    const std::string& value = reply.fields[0];
    const std::string& source = reply.fields[1];
    const std::string& name = reply.fields[2];
    if (source == "unset") {
        complain("%s has no value; set one with \"pmctl set %s VALUE\"", name.c_str(),
                 name.c_str());
        return EXIT_FAILED;
    }
    if (options.json)
        std::printf("%s\n", jsonObject({{"name", jsonText(name)},
                                        {"value", jsonValue(name, value)},
                                        {"source", jsonText(source)}})
                                .c_str());
    else if (options.verbose)
        std::printf("%s = %s (%s%s)\n", name.c_str(), value.c_str(),
                    source == "machine" ? "from the " : "", source.c_str());
    else
        std::printf("%s\n", value.c_str());
    return EXIT_DONE;
}

int set(const Options& options) {
    std::string value;
    if (!readValue(options, value))
        return EXIT_WRONG_USE;
    const char* fault = isTrapDestination(options.name) ? destinationFault(value) : nullptr;
    if (fault != nullptr)
        return wrongUse(escapeControls(value) + " " + fault);
    return ask(options, {"set", {options.name, value}, {}});
}

int unset(const Options& options) {
    return ask(options, {"unset", {options.name}, {}});
}

} // namespace

std::span<const Verb> settingsVerbs() {
    static constexpr Verb verbs[] = {
        {"get", "Prints the value in force",
         "  pmctl get pm_str_email_server_address\n"
         "  pmctl get -v Norvu.Embedded.1#IPv4.1#Enable\n"
         "  pmctl get --json hardware.host_name",
         declareGet, get},
        {"set", "Writes a value, which then overrides the one in pm.conf",
         "  pmctl set pm_str_email_alert1_destination ops@example.com\n"
         "  pmctl set alert_str_smtp_password - <password-file   # not visible in the process list\n"
         "  pmctl set hardware.community --file /root/community\n"
         "  pmctl set norvu.embedded.1#ldap.1#enable 1",
         declareSet, set},
        {"unset", "Deletes a value set at run time; pm.conf or the default applies again",
         "  pmctl unset pm_str_email_alert1_destination", declareKey, unset},
    };
    return verbs;
}

} // namespace pm::ctl
