// Sockets for the ports of this host, also for those below 1024.
#pragma once

#include <cstdint>

namespace quenvar {

/// A socket of `type`, SOCK_DGRAM or SOCK_STREAM, that holds `port` on all IPv4 addresses of this host; non-blocking,
/// and closed when another program is started. Returns -1 with `errno` set: EADDRINUSE when the port is taken, EACCES
/// when neither this program nor the installed helper may open it.
int BoundSocket(int type, std::uint16_t port);

/// The same from `helper`, a program that knows its port itself (packaging/port_helper.c).
int SocketFromHelper(const char* helper, int type);

}  // namespace quenvar
