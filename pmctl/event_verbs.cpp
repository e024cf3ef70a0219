// event: builds a notification record and publishes it.
#include <string_view>

#include "common/records.h"
#include "pmctl/exchange.h"
#include "pmctl/input.h"
#include "pmctl/verbs.h"

namespace pm::ctl {

using namespace client;

namespace {

constexpr std::string_view CHANGE_TOPIC = ATTRIBUTE_CHANGE_TOPIC;

void declareEvent(CLI::App& verb, Options& options) {
    verb.add_option("TOPIC", options.name, "Topic of the event")->required();
    auto* made = verb.add_option_group("Record", "Fields of the record");
    made->add_option("--message", options.message, "Text of the event");
    made->add_option("--filter-id", options.filterId, "Filter ID of the event, 0 to 255");
    made->add_option("--type", options.type,
                     "Header type; default 3, or 1 for an attribute change");
    made->add_option("--size", options.size, "Size field; default the record's true size");
    made->add_option("--attribute", options.attribute,
                     "Name of the changed attribute; default the one in the topic");
    auto* record = verb.add_option("--record", options.record,
                                   "File with the whole record; - for standard input");
    made->excludes(record);
    verb.add_flag("--no-wait", options.noWait, "Do not wait until the event has been handled");
}

std::string bytesOf(const void* record, size_t size) {
    return {static_cast<const char*>(record), size};
}

bool buildChange(const Options& options, std::string& record) {
    std::string name = options.attribute;
    if (name.empty() && options.name.starts_with(CHANGE_TOPIC)) {
        name = options.name.substr(CHANGE_TOPIC.size());
        if (name.ends_with('$'))
            name.pop_back();
    }
    if (!options.message.empty() || options.filterId) {
        wrongUse("an attribute change has neither a message nor a filter ID");
        return false;
    }
    AttributeChangeRecord change{};
    const size_t size = ATTRIBUTE_NAME_OFFSET + name.size() + 1;
    change.Size = options.size.value_or(static_cast<uint32_t>(size));
    change.HeaderType = options.type.value_or(HEADER_TYPE_ATTRIBUTE_CHANGE);
    change.nameOffset = ATTRIBUTE_NAME_OFFSET;
    record = bytesOf(&change, sizeof change);
    record.resize(ATTRIBUTE_NAME_OFFSET);
    record += name;
    record.resize(size);
    return true;
}

bool buildEvent(const Options& options, std::string& record) {
    EventRecord event{};
    event.header.Size = options.size.value_or(sizeof event);
    event.header.HeaderType = options.type.value_or(HEADER_TYPE_EVENT);
    event.payload.filterId = options.filterId.value_or(0);
    if (!putText(event.payload.szMessage, options.message, "message"))
        return false;
    record = bytesOf(&event, sizeof event);
    return true;
}

int publish(const Options& options) {
    std::string record;
    bool built = false;
    if (!options.record.empty())
        built = readInput(options.record, record);
    else if (!options.attribute.empty() || options.name.starts_with(CHANGE_TOPIC))
        built = buildChange(options, record);
    else
        built = buildEvent(options, record);
    if (!built)
        return EXIT_WRONG_USE;
    const int status =
        ask(options, {"event", {options.name, options.noWait ? "no-wait" : "wait"}, record});
    return options.name == "event_ipmi_pet" ? reportNoDestination(options, status) : status;
}

} // namespace

std::span<const Verb> eventVerbs() {
    static constexpr Verb verbs[] = {
        {"event", "Publishes an event to pm",
         "  pmctl event event_ipmi_pet --message 'Fan 3 failed' --filter-id 7\n"
         "  pmctl event qelctl_event_config_changed --no-wait\n"
         "  pmctl event 'CfgMgr$1$AttributeChange$norvu.embedded.1#snmp.1#alertport$'",
         declareEvent, publish},
    };
    return verbs;
}

} // namespace pm::ctl
