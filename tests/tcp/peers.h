// The far ends of the relay, as plain sockets on the loopback interface.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace quenvar {

/// Open descriptors of this process.
int OpenDescriptors();

/// A socket that listens on a free port of 127.0.0.1; `port` gets it.
int ListenOnFreePort(std::uint16_t& port, int backlog = 512);

/// A connection to 127.0.0.1 whose receiving gives up after 20 seconds; -1 when it is refused.
int ConnectTo(std::uint16_t port);

/// Has the system buffer only some 100 KiB for the socket in each direction.
void SetSmallBuffers(int descriptor);

/// Sends everything in pieces of this size. False when the other side does not take it.
bool SendAll(int descriptor, std::string_view data, std::size_t pieceBytes = SIZE_MAX);

/// Receives until there are `count` bytes, the other side closes, or the time is up.
std::string Receive(int descriptor, std::size_t count = SIZE_MAX);

/// Closes with a reset instead of an orderly end.
void Reset(int descriptor);

/// Sends until the other side has taken nothing for half a second; returns how much it took.
std::size_t SendUntilStalled(int descriptor, std::string_view data);

/// Sends back what arrives until the other side closes.
void Echo(int descriptor);

/// A name server on a free port. Each connection is served by a thread of its own, and closed afterwards.
class NameServer {
 public:
  explicit NameServer(std::function<void(int descriptor)> serve);
  ~NameServer();
  std::uint16_t Port() const { return port_; }
  int Served() const { return served_; }

 private:
  void Run();

  std::function<void(int)> serve_;
  std::uint16_t port_ = 0;
  int listener_;
  std::atomic<int> served_ = 0;
  std::vector<std::thread> connections_;
  std::thread accepting_;
};

}  // namespace quenvar
