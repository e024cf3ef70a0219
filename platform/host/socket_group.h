// Access of a group to the sockets.
#pragma once

namespace pm::host {

// Opens the sockets below run/pm to the group that PM_HOST_SOCKET_GROUP names, if it
// is set. If that fails, an error line says why, and they stay closed.
void openSocketsToGroup();

} // namespace pm::host
