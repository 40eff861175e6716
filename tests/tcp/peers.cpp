#include "tests/tcp/peers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace quenvar {

namespace {

sockaddr_in Loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

void SetTimeout(int descriptor, int option, int milliseconds) {
  const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
  setsockopt(descriptor, SOL_SOCKET, option, &time, sizeof time);
}

}  // namespace

int OpenDescriptors() {
  return static_cast<int>(std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                                std::filesystem::directory_iterator()));
}

int ListenOnFreePort(std::uint16_t& port, int backlog) {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  bind(descriptor, reinterpret_cast<sockaddr*>(&address), size);
  listen(descriptor, backlog);
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
  port = ntohs(address.sin_port);
  return descriptor;
}

int ConnectTo(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  SetTimeout(descriptor, SO_RCVTIMEO, 20'000);
  const sockaddr_in address = Loopback(port);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return descriptor;
  close(descriptor);
  return -1;
}

void SetSmallBuffers(int descriptor) {
  const int bytes = 48 * 1024;
  setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

bool SendAll(int descriptor, std::string_view data, std::size_t pieceBytes) {
  while (!data.empty()) {
    const ssize_t count = send(descriptor, data.data(), std::min(data.size(), pieceBytes), MSG_NOSIGNAL);
    if (count <= 0) return false;
    data.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string Receive(int descriptor, std::size_t count) {
  std::string received;
  std::array<char, 65536> piece;
  while (received.size() < count) {
    const ssize_t got = recv(descriptor, piece.data(), std::min(piece.size(), count - received.size()), 0);
    if (got <= 0) break;
    received.append(piece.data(), static_cast<std::size_t>(got));
  }
  return received;
}

void Reset(int descriptor) {
  const linger atOnce{1, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  close(descriptor);
}

std::size_t SendUntilStalled(int descriptor, std::string_view data) {
  SetTimeout(descriptor, SO_SNDTIMEO, 500);
  std::size_t total = 0;
  while (total < data.size()) {
    const ssize_t count = send(descriptor, data.data() + total, std::min<std::size_t>(data.size() - total, 8192), 0);
    if (count <= 0) break;
    total += static_cast<std::size_t>(count);
  }
  SetTimeout(descriptor, SO_SNDTIMEO, 20'000);
  return total;
}

void Echo(int descriptor) {
  std::array<char, 65536> piece;
  for (ssize_t got = 0; (got = recv(descriptor, piece.data(), piece.size(), 0)) > 0;) {
    if (!SendAll(descriptor, {piece.data(), static_cast<std::size_t>(got)})) return;
  }
}

NameServer::NameServer(std::function<void(int)> serve)
    : serve_(std::move(serve)), listener_(ListenOnFreePort(port_)), accepting_([this] { Run(); }) {}

NameServer::~NameServer() {
  shutdown(listener_, SHUT_RDWR);
  accepting_.join();
  for (std::thread& connection : connections_) connection.join();
  close(listener_);
}

void NameServer::Run() {
  for (int client = 0; (client = accept(listener_, nullptr, nullptr)) != -1;) {
    connections_.emplace_back([this, client] {
      serve_(client);
      close(client);
      ++served_;
    });
  }
}

}  // namespace quenvar
