// The answer to the verb "status", and what status replies tell of a failure.
#pragma once

#include <string>
#include <vector>

#include "platform/host/activity.h"
#include "platform/host/server.h"

namespace pm::host {

// Pairs of fields: what it is, as docs/request-socket.md lists them, and its value.
std::vector<std::string> statusReport(const Server& server);
// The same of what is left to do, for the verb "drain".
std::vector<std::string> drainReport(const Server& server);

// A status, then pairs of fields that tell why: docs/request-socket.md lists them.
client::Reply outcomeReply(int32_t status, const WorkOutcome& outcome);

} // namespace pm::host
