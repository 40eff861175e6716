#include "wire.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace quenvar::lab {
namespace {

using namespace std::string_literals;

constexpr std::size_t kLargestDatagram = 65507;
constexpr int kBufferBytes = 16 << 20;

// The part of a message beside its bytes: destination address and time stamp, or the source address.
struct Control {
  alignas(cmsghdr) char bytes[256] = {};
};

sockaddr_in Address(const std::string& text, std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  if (inet_pton(AF_INET, text.c_str(), &address.sin_addr) != 1) throw std::runtime_error("no address: " + text);
  return address;
}

std::string Text(const in_addr& address) {
  char buffer[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &address, buffer, sizeof buffer);
}

void ReadControl(msghdr& header, Endpoint::Datagram& datagram) {
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level == IPPROTO_IP && part->cmsg_type == IP_PKTINFO) {
      in_pktinfo info;
      std::memcpy(&info, CMSG_DATA(part), sizeof info);
      datagram.local = Text(info.ipi_addr);
    } else if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
      timespec time;
      std::memcpy(&time, CMSG_DATA(part), sizeof time);
      datagram.nanosecondOfEntry = time.tv_sec * 1'000'000'000 + time.tv_nsec;
    }
  }
}

}  // namespace

std::string Query(std::uint16_t identifier, const std::string& name) {
  std::string message = "\0\0\1\0\0\1\0\0\0\0\0\0"s;
  message[0] = static_cast<char>(identifier >> 8);
  message[1] = static_cast<char>(identifier & 0xFF);
  for (std::size_t start = 0; start <= name.size();) {
    const std::size_t end = std::min(name.find('.', start), name.size());
    message += static_cast<char>(end - start);
    message += name.substr(start, end - start);
    start = end + 1;
  }
  return message + "\0\0\1\0\1"s;
}

std::string AnswerTo(const std::string& query) {
  std::string answer = query + "\xC0\x0C\0\1\0\1\0\0\0\x3C\0\4\xC0\0\2\1"s;
  answer[2] = static_cast<char>(0x81);
  answer[3] = static_cast<char>(0x80);
  answer[7] = 1;
  return answer;
}

Endpoint::Endpoint(Place place, std::uint16_t port) {
  Visit visit(place);
  socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  // As name servers commonly do: a second socket that does so too may then take the same port unnoticed.
  setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  setsockopt(socket_, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
  setsockopt(socket_, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
  if (setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &kBufferBytes, sizeof kBufferBytes) != 0)
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &kBufferBytes, sizeof kBufferBytes);
  const sockaddr_in all = Address("0.0.0.0", port);
  if (bind(socket_, reinterpret_cast<const sockaddr*>(&all), sizeof all) != 0)
    throw std::runtime_error("cannot bind UDP port " + std::to_string(port));
}

Endpoint::~Endpoint() { close(socket_); }

void Endpoint::Send(const std::string& bytes, const std::string& to, std::uint16_t port, const std::string& from) {
  sockaddr_in peer = Address(to, port);
  iovec data = {const_cast<char*>(bytes.data()), bytes.size()};
  Control control;
  msghdr header = {};
  header.msg_name = &peer;
  header.msg_namelen = sizeof peer;
  header.msg_iov = &data;
  header.msg_iovlen = 1;
  if (!from.empty()) {
    in_pktinfo info = {};
    info.ipi_spec_dst = Address(from, 0).sin_addr;
    header.msg_control = control.bytes;
    header.msg_controllen = CMSG_SPACE(sizeof info);
    cmsghdr* part = CMSG_FIRSTHDR(&header);
    part->cmsg_level = IPPROTO_IP;
    part->cmsg_type = IP_PKTINFO;
    part->cmsg_len = CMSG_LEN(sizeof info);
    std::memcpy(CMSG_DATA(part), &info, sizeof info);
  }
  if (sendmsg(socket_, &header, 0) < 0) throw std::runtime_error("cannot send to " + to + ": " + std::strerror(errno));
}

std::optional<Endpoint::Datagram> Endpoint::Receive(std::chrono::milliseconds limit) {
  pollfd arrival = {socket_, POLLIN, 0};
  if (poll(&arrival, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
  static char buffer[kLargestDatagram];
  sockaddr_in peer = {};
  iovec data = {buffer, sizeof buffer};
  Control control;
  msghdr header = {};
  header.msg_name = &peer;
  header.msg_namelen = sizeof peer;
  header.msg_iov = &data;
  header.msg_iovlen = 1;
  header.msg_control = control.bytes;
  header.msg_controllen = sizeof control.bytes;
  const ssize_t length = recvmsg(socket_, &header, 0);
  if (length < 0) return std::nullopt;
  Datagram datagram = {{buffer, static_cast<std::size_t>(length)}, Text(peer.sin_addr), ntohs(peer.sin_port), "", 0};
  ReadControl(header, datagram);
  return datagram;
}

std::string Client::AnswerBytes() {
  const auto answer = Answer();
  return answer ? answer->bytes : "(no answer)";
}

std::vector<Endpoint::Datagram> Servers::Next(std::size_t count) {
  std::vector<Endpoint::Datagram> queries;
  while (queries.size() < count) {
    auto query = Next();
    if (!query) break;
    queries.push_back(std::move(*query));
  }
  return queries;
}

bool RoundTrip(Client& client, Servers& servers) {
  static std::uint16_t turn = 0;
  ++turn;
  const std::string query = Query(turn, "round-trip-" + std::to_string(turn) + ".test");
  client.Ask(query);
  for (auto seen = servers.Next(); seen; seen = servers.Next()) {
    if (seen->bytes != query) continue;
    servers.Answer(*seen, AnswerTo(query));
    return client.AnswerBytes() == AnswerTo(query);
  }
  return false;
}

}  // namespace quenvar::lab
