// Connections to pm's sockets: bounded, so that descriptors remain for all else.
#pragma once

namespace pm::host {

// To be called before a socket is bound.
void keepDescriptorsFromConnections();

// A request has come over the connection with this descriptor: it is not closed in
// favour of a new one.
void noteRequestOver(int connection);

// Ends a connection; who is at its other side sees that.
void cutConnection(int connection);

} // namespace pm::host
