// Sockets for the ports of this host, also for those below 1024.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quenvar {

/// A socket of `type`, SOCK_DGRAM or SOCK_STREAM, that holds `port` on all IPv4 addresses of this host; non-blocking,
/// and closed when another program is started. Returns -1 with `errno` set: EADDRINUSE when the port is taken, EACCES
/// when neither this program nor the installed helper may open it. For the DNS port it may block for two minutes, while
/// the user is asked; SIGCHLD then has its default action.
int BoundSocket(int type, std::uint16_t port);

/// -1 stands for no socket.
struct HelpersSockets {
  int udp = -1;
  int tcp = -1;
};

/// Both of such sockets from a helper that knows its port itself (packaging/port_helper.c). `command` starts it, and
/// begins with an absolute path; none, with `errno` set, where that fails.
HelpersSockets SocketsFromHelper(const std::vector<std::string>& command);

}  // namespace quenvar
