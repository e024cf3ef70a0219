// The answer to the verb "status".
#pragma once

#include <string>
#include <vector>

#include "platform/host/server.h"

namespace pm::host {

// Pairs of fields: what it is, as docs/request-socket.md lists them, and its value.
std::vector<std::string> statusReport(const Server& server);

} // namespace pm::host
