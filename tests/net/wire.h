// The two sides that the program stands between: clients that ask on port 53 and name servers that answer.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab.h"
#include "tests/fakes/dns_message.h"

namespace quenvar::lab {

/// A question about `name`, as a resolver sends it.
inline std::string Query(int identifier, const std::string& name, RecordType type = kA) {
  return QueryFor(name, type, static_cast<std::uint16_t>(identifier));
}

/// The question of a message: name, type and class as they stand in it.
std::string Question(const std::string& message);

/// The answer to `query` about an A or AAAA record: its identifier and its question with 192.0.2.1 or 2001:db8::1,
/// which live for 60 seconds.
std::string AnswerTo(const std::string& query);

/// The descriptor of a socket, closed when nobody has it any more.
using Socket = std::shared_ptr<const int>;

struct Datagram {
  std::string bytes;
  sockaddr_in peer;
  std::string local;  ///< the address of ours that it was sent to
};

/// A UDP socket. Port 0 means any free port.
class Endpoint {
 public:
  Endpoint(Place place, const std::string& address, std::uint16_t port);
  void Send(const std::string& bytes, const sockaddr_in& peer) const { SendFrom(address_, bytes, peer); }
  void SendFrom(const std::string& local, const std::string& bytes, sockaddr_in peer) const;
  /// Empty when nothing arrives within `limit`.
  std::optional<Datagram> Receive(std::chrono::milliseconds limit = kPatience) const;

 private:
  std::string address_;
  Socket socket_;
};

/// A program on the PC that asks the program under test.
class Client : public Endpoint {
 public:
  Client() : Endpoint(Place::Home, "127.0.0.1", 0) {}
  /// `address`: that of the PC.
  void Ask(const std::string& query, const std::string& address = "127.0.0.1") const;
  /// The bytes of the next answer; a text that says so when none comes.
  std::string Answer() const;
};

/// All name servers, and the stranger: port 53 of every address upstream. Only one can live at a time.
class Servers : public Endpoint {
 public:
  Servers() : Endpoint(Place::Upstream, "0.0.0.0", 53) {}
  /// The next query that reaches any of them.
  std::optional<Datagram> Next(std::chrono::milliseconds limit = kPatience) const { return Receive(limit); }
  /// The next `count` queries in the order of their arrival, fewer when no more come.
  std::vector<Datagram> Next(std::size_t count) const;
  /// Answers from the server that was asked.
  void Answer(const Datagram& query, const std::string& bytes) const { SendFrom(query.local, bytes, query.peer); }
};

/// A connection to the program. Throws when it is refused.
Socket Connect();
/// TCP port 53 of all addresses of a place. Throws when it is taken.
Socket Listen(Place place);
/// The next connection. Throws when none comes.
Socket Accept(const Socket& listening);
/// Sends all bytes over a connection. Throws when it has ended.
void Send(const Socket& connection, const std::string& bytes);
/// Waits for `count` bytes; fewer when the other side closes or is silent for kPatience. Without MSG_WAITALL the bytes
/// that come first are enough.
std::string Receive(const Socket& connection, std::size_t count, int flags = MSG_WAITALL);
/// The other side closes and sends nothing before.
bool Ends(const Socket& connection);

}  // namespace quenvar::lab
