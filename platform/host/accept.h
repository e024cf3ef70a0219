// Limits the connections to pm's sockets, so that descriptors remain for mails and commands.
#pragma once

namespace pm::host {

// Reserves a spare descriptor for refusals. Call before a socket is bound.
void openSpareDescriptor();

// Marks a connection, by its descriptor, as one that has sent a request: only connections
// that never did are closed to make room for new ones.
void markConnectionUsed(int connection);

// Shuts a connection down, by its descriptor; the peer sees its end.
void cutConnection(int connection);

} // namespace pm::host
