// The limit that a relay is measured against: datagrams between port 53 and its name servers, with nothing but the
// system calls that it takes. Each query goes to all servers, and the first answer to the client, which it finds by the
// identifier of the query.
//
//   bare_relay SERVER...
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "dns_wire.h"

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

void Send(int fd, const unsigned char* message, ssize_t size, const sockaddr_in& receiver) {
  sendto(fd, message, static_cast<std::size_t>(size), 0, reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver);
}

/// Hands everything that waits at a socket to `pass`, with its sender and its identifier.
template <typename Pass>
void Drain(int from, Pass pass) {
  unsigned char message[65536];
  sockaddr_in sender;
  for (;;) {
    socklen_t length = sizeof sender;
    const ssize_t size = recvfrom(from, message, sizeof message, 0, reinterpret_cast<sockaddr*>(&sender), &length);
    if (size < 0) return;
    if (size >= 2) pass(message, size, sender, message[0] * 256 + message[1]);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<sockaddr_in> servers(static_cast<std::size_t>(argc - 1));
  for (int i = 1; i < argc; ++i) servers[static_cast<std::size_t>(i - 1)] = bench::AddressOrExit(argv[i], 53);
  pollfd sockets[2] = {{OpenSocket(53), POLLIN, 0}, {OpenSocket(0), POLLIN, 0}};
  if (sockets[0].fd < 0 || sockets[1].fd < 0) {
    std::perror("bare_relay");
    return 1;
  }
  const auto passQuery = [&](const unsigned char* message, ssize_t size, const sockaddr_in& client, int identifier) {
    clients[identifier] = client;
    for (const sockaddr_in& server : servers) Send(sockets[1].fd, message, size, server);
  };
  const auto passAnswer = [&](const unsigned char* message, ssize_t size, const sockaddr_in&, int identifier) {
    sockaddr_in& client = clients[identifier];
    if (client.sin_port != 0) Send(sockets[0].fd, message, size, client);
    client.sin_port = 0;
  };
  while (poll(sockets, 2, -1) > 0) {
    if (sockets[0].revents != 0) Drain(sockets[0].fd, passQuery);
    if (sockets[1].revents != 0) Drain(sockets[1].fd, passAnswer);
  }
}
