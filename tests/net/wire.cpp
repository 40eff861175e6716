#include "wire.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quenvar::lab {
namespace {

using namespace std::string_literals;

sockaddr_in Address(const std::string& text, std::uint16_t port) {
  return {.sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {inet_addr(text.c_str())}, .sin_zero = {}};
}

const sockaddr* Plain(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }

Socket Own(int descriptor) {
  Require(descriptor >= 0, "a descriptor");
  return {new int(descriptor), [](const int* owned) {
            close(*owned);
            delete owned;
          }};
}

// Name servers commonly share their port like this: a second socket that does so too may then take it unnoticed.
Socket Open(int type, Place place, const std::string& address, std::uint16_t port) {
  Enter(place);
  const Socket socket = Own(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
  Enter(Place::Home);
  const int on = 1;
  if (port != 0) setsockopt(*socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (type == SOCK_STREAM) {
    const int fewBytes = 48 * 1024;  // so that it shows what the program holds
    for (const int buffer : {SO_SNDBUF, SO_RCVBUF}) setsockopt(*socket, SOL_SOCKET, buffer, &fewBytes, sizeof fewBytes);
  } else {
    const int manyBytes = 16 << 20;  // for ten servers
    setsockopt(*socket, SOL_SOCKET, SO_RCVBUFFORCE, &manyBytes, sizeof manyBytes);
    setsockopt(*socket, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
  }
  const timeval patience = {kPatience.count() / 1000, 0};
  setsockopt(*socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  const sockaddr_in own = Address(address, port);
  Require(bind(*socket, Plain(own), sizeof own) == 0, "UDP or TCP port " + std::to_string(port) + " of " + address);
  return socket;
}

/// What stands beside the bytes of a datagram: the address on this side.
struct Control {
  std::size_t size = CMSG_LEN(sizeof(in_pktinfo));
  int level = IPPROTO_IP;
  int type = IP_PKTINFO;
  in_pktinfo local = {};
};

}  // namespace

std::string Question(const std::string& message) { return message.substr(12, message.find('\0', 12) + 5 - 12); }

std::string AnswerTo(const std::string& query) {
  constexpr int kRecursionAvailable = 0x80;
  const std::string asked = query.substr(0, 12 + Question(query).size());
  const auto type = static_cast<RecordType>(asked[asked.size() - 3]);
  const std::string data = type == kA ? "\xC0\0\2\1"s : "\x20\1\x0D\xB8" + std::string(11, '\0') + '\1';
  return ReplyTo(asked, "100", Record(type, 60, data), kRecursionAvailable);
}

Endpoint::Endpoint(Place place, const std::string& address, std::uint16_t port)
    : address_(address), socket_(Open(SOCK_DGRAM, place, address, port)) {}

void Endpoint::SendFrom(const std::string& local, const std::string& bytes, sockaddr_in peer) const {
  Control control;
  control.local.ipi_spec_dst.s_addr = inet_addr(local.c_str());
  iovec piece = {const_cast<char*>(bytes.data()), bytes.size()};
  const msghdr message = {&peer, sizeof peer, &piece, 1, &control, sizeof control, 0};
  Require(sendmsg(*socket_, &message, 0) >= 0, "a datagram sent");
}

std::optional<Datagram> Endpoint::Receive(std::chrono::milliseconds limit) const {
  pollfd arrival = {*socket_, POLLIN, 0};
  if (poll(&arrival, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
  thread_local char buffer[65536];
  Control control;
  Datagram datagram;
  iovec piece = {buffer, sizeof buffer};
  msghdr message = {&datagram.peer, sizeof datagram.peer, &piece, 1, &control, sizeof control, 0};
  const ssize_t size = recvmsg(*socket_, &message, 0);
  if (size < 0) return std::nullopt;
  datagram.bytes.assign(buffer, static_cast<std::size_t>(size));
  datagram.local = inet_ntoa(control.local.ipi_addr);
  return datagram;
}

void Client::Ask(const std::string& query, const std::string& address) const { Send(query, Address(address, 53)); }

std::string Client::Answer() const {
  const auto answer = Receive();
  return answer ? answer->bytes : "(no answer)";
}

std::vector<Datagram> Servers::Next(std::size_t count) const {
  std::vector<Datagram> queries;
  while (queries.size() < count) {
    const auto query = Next();
    if (!query) break;
    queries.push_back(*query);
  }
  return queries;
}

Socket Connect() {
  const Socket socket = Open(SOCK_STREAM, Place::Home, "127.0.0.1", 0);
  const sockaddr_in program = Address("127.0.0.1", 53);
  Require(connect(*socket, Plain(program), sizeof program) == 0, "a connection");
  return socket;
}

Socket Listen(Place place) {
  const Socket socket = Open(SOCK_STREAM, place, "0.0.0.0", 53);
  Require(listen(*socket, 1024) == 0, "TCP port 53");
  return socket;
}

Socket Accept(const Socket& listening) { return Own(accept4(*listening, nullptr, nullptr, SOCK_CLOEXEC)); }

void Send(const Socket& connection, const std::string& bytes) {
  const ssize_t sent = send(*connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  Require(sent == static_cast<ssize_t>(bytes.size()), "all bytes sent");
}

std::string Receive(const Socket& connection, std::size_t count, int flags) {
  std::string bytes(count, '\0');
  const ssize_t received = recv(*connection, bytes.data(), count, flags);
  return bytes.substr(0, static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
}

bool Ends(const Socket& connection) {
  char byte;
  const ssize_t received = recv(*connection, &byte, 1, 0);
  return received == 0 || (received < 0 && errno == ECONNRESET);
}

}  // namespace quenvar::lab
