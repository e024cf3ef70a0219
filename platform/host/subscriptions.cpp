#include "platform/host/subscriptions.h"

#include <algorithm>
#include <mutex>

#include "platform/client/wire.h"
#include "platform/function_manager.h"
#include "platform/host/guard.h"
#include "platform/host/start_steps.h"

namespace pm::host {

using namespace client;

namespace {

constexpr std::string_view LOCKDOWN_TOPIC =
    "CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$";
// The callback of the lockdown topic also ensures that only one directory service is enabled,
// so it gets these topics as well.
constexpr std::string_view DIRECTORY_TOPICS[] = {
    "CfgMgr$1$AttributeChange$norvu.embedded.1#activedirectory.1#enable$",
    "CfgMgr$1$AttributeChange$norvu.embedded.1#ldap.1#enable$",
};

struct Subscription {
    qornc_event_callback callback;
    std::string text; // prefix of the topics
    bool operator==(const Subscription&) const = default;
};

struct Subscriptions {
    std::mutex mutex;
    const qornc_event_row* table = nullptr;
    std::vector<qornc_event_callback> subscribers; // a handle is an index here plus 1
    std::vector<Subscription> subscriptions;
};

// Never destroyed: delivery may use it until the process has ended.
Subscriptions& state() {
    static Subscriptions& instance = *new Subscriptions;
    return instance;
}

bool rowMatches(std::string_view row, std::string_view topic) {
    return row == topic || (row == LOCKDOWN_TOPIC && std::ranges::find(DIRECTORY_TOPICS, topic) !=
                                                         std::end(DIRECTORY_TOPICS));
}

} // namespace

void setEventTable(const qornc_event_row* table) {
    const std::lock_guard lock(state().mutex);
    state().table = table;
}

std::vector<qornc_event_callback> subscribersOf(std::string_view topic) {
    std::vector<qornc_event_callback> callbacks;
    const std::lock_guard lock(state().mutex);
    for (const auto* row = state().table; row != nullptr && row->topic != nullptr; ++row)
        if (rowMatches(row->topic, topic))
            callbacks.push_back(row->callback);
    for (const Subscription& subscription : state().subscriptions)
        if (topic.starts_with(subscription.text))
            callbacks.push_back(subscription.callback);
    return callbacks;
}

std::optional<size_t> rowMatching(std::string_view topic) {
    const std::lock_guard lock(state().mutex);
    const auto* table = state().table;
    for (size_t row = 0; table != nullptr && table[row].topic != nullptr; ++row)
        if (rowMatches(table[row].topic, topic))
            return row;
    return std::nullopt;
}

std::vector<std::string> servedTopics() {
    std::vector<std::string> topics;
    const std::lock_guard lock(state().mutex);
    for (const auto* row = state().table; row != nullptr && row->topic != nullptr; ++row)
        topics.emplace_back(row->topic);
    for (const Subscription& subscription : state().subscriptions)
        topics.push_back(subscription.text);
    return topics;
}

std::string countedTopic(std::string_view topic) {
    const std::lock_guard lock(state().mutex);
    for (const auto* row = state().table; row != nullptr && row->topic != nullptr; ++row)
        if (rowMatches(row->topic, topic))
            return std::string(topic);
    for (const Subscription& subscription : state().subscriptions)
        if (topic.starts_with(subscription.text))
            return subscription.text;
    return {};
}

namespace {

int makeSubscriber(uint64_t* handle, const char* subscriber, qornc_event_callback callback) {
    if (handle == nullptr || subscriber == nullptr || callback == nullptr)
        return -1;
    return guarded(subscriber, -1, [&] {
        const std::lock_guard lock(state().mutex);
        auto& subscribers = state().subscribers;
        // Handles are never released: a callback that registers again keeps its handle.
        auto place = std::ranges::find(subscribers, callback);
        if (place == subscribers.end())
            place = subscribers.insert(place, callback);
        *handle = static_cast<uint64_t>(place - subscribers.begin()) + 1;
        return 0;
    });
}

int makeSubscription(uint64_t handle, const char* topic) {
    if (topic == nullptr || *topic == '\0' || std::string_view(topic).size() > NAME_LIMIT)
        return -1;
    return guarded(topic, -1, [&] {
        const std::lock_guard lock(state().mutex);
        if (handle == 0 || handle > state().subscribers.size())
            return -1;
        const Subscription added{state().subscribers[handle - 1], topic};
        auto& subscriptions = state().subscriptions;
        // pm repeats all subscriptions if one failed; each callback must still be called once.
        if (std::ranges::find(subscriptions, added) == subscriptions.end())
            subscriptions.push_back(added);
        return 0;
    });
}

} // namespace

extern "C" int jelmux_subscriber_init(uint64_t* handle, const char* subscriber,
                                      qornc_event_callback callback) {
    const int result = makeSubscriber(handle, subscriber, callback);
    noteSubscriber(result == 0);
    return result;
}

extern "C" int jelmux_subscribe_notification(uint64_t handle, const char* topic) {
    const int result = makeSubscription(handle, topic);
    noteSubscription(result == 0);
    return result;
}

} // namespace pm::host
