// Who takes which notifications.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/distribution.h"

namespace pm::host {

// The table of the client; null: none. Its rows stay the caller's.
void setEventTable(const qornc_event_row* table);

// The callbacks of all rows and subscriptions that take a topic.
std::vector<qornc_event_callback> takersOf(std::string_view topic);

// Place of the first row that takes a topic, from 0 on; none if only subscriptions do.
std::optional<size_t> rowTaking(std::string_view topic);

// Topics of the table, then the texts of the subscriptions.
std::vector<std::string> topicsTaken();

// What of these takes a topic: the topic itself if a row has it, else the text of
// the first subscription; empty if nothing does.
std::string servedTopic(std::string_view topic);

} // namespace pm::host
