// Builds the replies to the verbs "status" and "drain", and status replies with reasons.
#pragma once

#include <string>
#include <vector>

#include "platform/host/activity.h"
#include "platform/host/server.h"

namespace pm::host {

// Returns pairs of fields, a name and a value; docs/request-socket.md lists the names.
std::vector<std::string> statusReport(const Server& server);
// The same for the verb "drain": the work that is not done yet.
std::vector<std::string> drainReport(const Server& server);

// Returns the status, then pairs of fields with reasons; docs/request-socket.md lists them.
client::Reply outcomeReply(int32_t status, const WorkOutcome& outcome);

} // namespace pm::host
