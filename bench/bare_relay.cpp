// The limit that a relay is measured against: datagrams between port 53 and one name server, with nothing but the
// system calls that it takes. It finds the client of an answer by the identifier of the query.
//
//   bare_relay SERVER
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>

namespace {

sockaddr_in clients[65536];

int OpenSocket(std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  const int bufferBytes = 4 << 20;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufferBytes, sizeof bufferBytes);
  sockaddr_in local = {};
  local.sin_family = AF_INET;
  local.sin_port = htons(port);
  return bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0 ? fd : -1;
}

/// Moves everything that waits at one socket to the other one. The server is the fixed side.
template <typename Peer>
void Drain(int from, int to, Peer peer) {
  unsigned char message[65536];
  sockaddr_in sender;
  for (;;) {
    socklen_t length = sizeof sender;
    const ssize_t size = recvfrom(from, message, sizeof message, 0, reinterpret_cast<sockaddr*>(&sender), &length);
    if (size < 0) return;
    if (size < 2) continue;
    const sockaddr_in& receiver = peer(message[0] * 256 + message[1], sender);
    sendto(to, message, static_cast<std::size_t>(size), 0, reinterpret_cast<const sockaddr*>(&receiver),
           sizeof receiver);
  }
}

}  // namespace

int main(int argc, char** argv) {
  sockaddr_in server = {};
  server.sin_family = AF_INET;
  server.sin_port = htons(53);
  if (argc != 2 || inet_pton(AF_INET, argv[1], &server.sin_addr) != 1) {
    std::fprintf(stderr, "usage: bare_relay SERVER\n");
    return 2;
  }
  pollfd sockets[2] = {{OpenSocket(53), POLLIN, 0}, {OpenSocket(0), POLLIN, 0}};
  if (sockets[0].fd < 0 || sockets[1].fd < 0) {
    std::perror("bare_relay");
    return 1;
  }
  while (poll(sockets, 2, -1) > 0) {
    if (sockets[0].revents != 0)
      Drain(sockets[0].fd, sockets[1].fd, [&](int identifier, const sockaddr_in& sender) -> const sockaddr_in& {
        clients[identifier] = sender;
        return server;
      });
    if (sockets[1].revents != 0)
      Drain(sockets[1].fd, sockets[0].fd,
            [](int identifier, const sockaddr_in&) -> const sockaddr_in& { return clients[identifier]; });
  }
}
