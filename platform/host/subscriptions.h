// The callbacks for each topic: rows of the client's table, and subscriptions.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/distribution.h"

namespace pm::host {

// Sets the client's table, or none with null. The caller keeps owning it.
void setEventTable(const qornc_event_row* table);

// The callbacks of all rows and subscriptions that match a topic; empty if none does.
std::vector<qornc_event_callback> subscribersOf(std::string_view topic);

// Index of the first row that matches a topic; empty if no row does.
std::optional<size_t> rowMatching(std::string_view topic);

// The topics of the table, then the prefixes of the subscriptions.
std::vector<std::string> servedTopics();

// The name under which a topic is counted: the topic itself if a row matches, else the prefix
// of the first matching subscription; empty if nothing matches.
std::string countedTopic(std::string_view topic);

} // namespace pm::host
