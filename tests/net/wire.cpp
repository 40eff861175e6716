#include "wire.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>

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
  setsockopt(*socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const int fewBytes = 48 * 1024;  // so that it shows what the program holds
  for (const int buffer : {SO_SNDBUF, SO_RCVBUF})
    if (type == SOCK_STREAM) setsockopt(*socket, SOL_SOCKET, buffer, &fewBytes, sizeof fewBytes);
  const timeval patience = {kPatience.count() / 1000, 0};
  setsockopt(*socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  const sockaddr_in own = Address(address, port);
  Require(bind(*socket, Plain(own), sizeof own) == 0, "UDP or TCP port " + std::to_string(port) + " of " + address);
  return socket;
}

const std::map<int, std::string> kRecordData = {{kA, "\xC0\0\2\1"s},
                                                {kMx, "\0\12\4mail\xC0\x0C"s},
                                                {kTxt, "\4text"s},
                                                {kAaaa, "\x20\1\x0D\xB8" + std::string(11, '\0') + '\1'}};

}  // namespace

std::string Question(const std::string& message) { return message.substr(12, message.find('\0', 12) + 5 - 12); }

std::string AnswerTo(const std::string& query) {
  constexpr int kRecursionAvailable = 0x80;
  const std::string asked = query.substr(0, 12 + Question(query).size());
  const auto type = static_cast<RecordType>(asked[asked.size() - 3]);
  return ReplyTo(asked, "100", Record(type, 60, kRecordData.at(type)), kRecursionAvailable);
}

Endpoint::Endpoint(Place place, const std::string& address, std::uint16_t port)
    : address_(address), socket_(Open(SOCK_DGRAM, place, address, port)) {
  timespec time;
  ioctl(*socket_, SIOCGSTAMPNS, &time);  // from now on the kernel notes when datagrams come
}

void Endpoint::Send(const std::string& bytes, const sockaddr_in& peer) const {
  Require(sendto(*socket_, bytes.data(), bytes.size(), 0, Plain(peer), sizeof peer) >= 0, "a datagram sent");
}

std::optional<Datagram> Endpoint::Receive(std::chrono::milliseconds limit) const {
  pollfd arrival = {*socket_, POLLIN, 0};
  if (poll(&arrival, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
  thread_local char buffer[65536];
  sockaddr_in peer = {};
  socklen_t size = sizeof peer;
  const ssize_t length = recvfrom(*socket_, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&peer), &size);
  if (length < 0) return std::nullopt;
  timespec time = {};
  ioctl(*socket_, SIOCGSTAMPNS, &time);
  return Datagram{
      {buffer, static_cast<std::size_t>(length)}, peer, address_, time.tv_sec * 1'000'000'000 + time.tv_nsec};
}

void Client::Ask(const std::string& query) const { Send(query, Address("127.0.0.1", 53)); }

std::string Client::Answer() const {
  const auto answer = Receive();
  return answer ? answer->bytes : "(no answer)";
}

Servers::Servers() : arrivals_(Own(epoll_create1(EPOLL_CLOEXEC))) {
  for (int number = 1; number <= 10; ++number) endpoints_.emplace_back(Place::Upstream, ServerAt(number), 53);
  endpoints_.emplace_back(Place::Upstream, kStranger, 53);
  for (Endpoint& endpoint : endpoints_) {
    epoll_event arrival = {EPOLLIN, {.ptr = &endpoint}};
    epoll_ctl(*arrivals_, EPOLL_CTL_ADD, endpoint.Descriptor(), &arrival);
  }
}

std::optional<Datagram> Servers::Next(std::chrono::milliseconds limit) const {
  epoll_event arrival;
  if (epoll_wait(*arrivals_, &arrival, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
  return static_cast<const Endpoint*>(arrival.data.ptr)->Receive();
}

std::vector<Datagram> Servers::Next(std::size_t count) const {
  std::vector<Datagram> queries;
  for (auto query = Next(); query; query = Next()) {
    queries.push_back(*query);
    if (queries.size() == count) break;
  }
  std::ranges::sort(queries, {}, &Datagram::nanosecondOfEntry);
  return queries;
}

void Servers::AnswerFrom(const std::string& address, const Datagram& query, const std::string& bytes) const {
  const int number = std::stoi(address.substr(address.rfind('.') + 1));
  endpoints_[static_cast<std::size_t>(std::min(number, 11) - 1)].Send(bytes, query.peer);
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
