// Lets a group use pm's sockets.
#pragma once

namespace pm::host {

// Gives the group in PM_HOST_SOCKET_GROUP, if it is set, access to the sockets below run/pm.
// On failure logs why; the group then has no access.
void openSocketsToGroup();

} // namespace pm::host
