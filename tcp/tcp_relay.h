// The TCP relay: every client connection on local port 53 is paired with a connection of its own to one name server.
#pragma once

namespace quenvar {

/// Starts listening on local TCP port 53. 0, or the error number of the socket layer (platform/udp_port.h).
int InitTcpRelay();

}  // namespace quenvar
