// The two sides that the program stands between: clients that ask on port 53 and name servers that answer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab.h"

namespace quenvar::lab {

/// A question for the address of `name`, as a resolver sends it.
std::string Query(std::uint16_t identifier, const std::string& name);

/// The answer to `query`: its bytes, marked as an answer, with one address record.
std::string AnswerTo(const std::string& query);

/// A UDP socket on all addresses of a place. Port 0 means any free port.
class Endpoint {
 public:
  explicit Endpoint(Place place, std::uint16_t port = 0);
  ~Endpoint();
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  struct Datagram {
    std::string bytes;
    std::string peer;
    std::uint16_t peerPort;
    std::string local;               ///< the address of ours that it was sent to
    std::int64_t nanosecondOfEntry;  ///< when the kernel took it in; counts up
  };

  void Send(const std::string& bytes, const std::string& to, std::uint16_t port, const std::string& from);
  /// Empty when nothing arrives within `limit`.
  std::optional<Datagram> Receive(std::chrono::milliseconds limit = kPatience);

 private:
  int socket_;
};

/// A program on the PC that asks the program under test.
class Client {
 public:
  void Ask(const std::string& query) { endpoint_.Send(query, "127.0.0.1", 53, ""); }
  std::optional<Endpoint::Datagram> Answer(std::chrono::milliseconds limit = kPatience) {
    return endpoint_.Receive(limit);
  }
  /// The answer's bytes; a text that says so when none comes.
  std::string AnswerBytes();

 private:
  Endpoint endpoint_{Place::Home};
};

/// All name servers at once: port 53 of every address upstream. Only one can live at a time.
class Servers {
 public:
  /// The next query that reaches any of them.
  std::optional<Endpoint::Datagram> Next(std::chrono::milliseconds limit = kPatience) {
    return endpoint_.Receive(limit);
  }
  /// The next `count` queries, fewer when no more come.
  std::vector<Endpoint::Datagram> Next(std::size_t count);
  /// Answers a query from the server that it was sent to, or from another address.
  void Answer(const Endpoint::Datagram& query, const std::string& bytes) { AnswerFrom(query.local, query, bytes); }
  void AnswerFrom(const std::string& from, const Endpoint::Datagram& query, const std::string& bytes) {
    endpoint_.Send(bytes, query.peer, query.peerPort, from);
  }

 private:
  Endpoint endpoint_{Place::Upstream, 53};
};

/// Asks for a fresh name and has the first server answer: true when the client gets that answer, with nothing before
/// it. It takes the same way as everything sent before it, so it also shows that none of that is still to come.
bool RoundTrip(Client& client, Servers& servers);

}  // namespace quenvar::lab
