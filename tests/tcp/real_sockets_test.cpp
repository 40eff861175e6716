// The relay on real sockets, in one thread with its clients and the name server, whose sockets never wait.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <QCoreApplication>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <list>

#include "platform/qt/qt_event_loop.h"
#include "platform/qt/tcp_clients.h"
#include "platform/qt/tcp_listener.h"
#include "tcp/tcp_relay.h"
#include "tests/fakes/application.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMiB = 1024 * 1024;

template <typename Sockets>
struct OnPort : Sockets {
  void SetLocalPort(std::uint16_t) { Sockets::SetLocalPort(port); }
  void SetRemotePort(std::int16_t index, std::int32_t) { Sockets::SetRemotePort(index, port); }
  std::uint16_t port = 0;
};

/// A socket at 127.0.0.1, bound or connected, for which the system buffers only some 100 KiB in each direction.
int NewSocket(std::uint16_t port, int (*act)(int, const sockaddr*, socklen_t)) {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  const int bytes = 48 * 1024;
  setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
  const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
  act(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return descriptor;
}

/// One end of a connection, or a listener. What is in `toSend` goes out, and what arrives is kept.
struct Peer {
  explicit Peer(int given) : descriptor(given) {}
  ~Peer() { close(descriptor); }

  std::uint16_t Listen(int backlog) const {
    listen(descriptor, backlog);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
  }
  void Move() {
    const ssize_t out = send(descriptor, &toSend[sent], toSend.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (out > 0) sent += static_cast<std::size_t>(out);
    if (!reads) return;
    std::array<char, 65536> piece;
    const ssize_t in = recv(descriptor, piece.data(), piece.size(), MSG_DONTWAIT);
    if (in > 0) received.append(piece.data(), static_cast<std::size_t>(in));
    ended = in == 0 || (in == -1 && errno != EAGAIN);
  }

  const int descriptor;
  std::string toSend;
  std::size_t sent = 0;
  std::string received;
  bool reads = true;
  bool ended = false;  ///< the other side sends nothing more
};

std::string Pattern(std::size_t size, unsigned seed = 1) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
  return bytes;
}

std::ptrdiff_t OpenDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

class RealTcpRelay : public Service {
 protected:
  RealTcpRelay() {
    platform.IPDaemon = &listener;
    platform.IPPort = &sockets;
    platform.events = &loop;
    SetServer(0, "127.0.0.1");
    listener.port = sockets.port = server.Listen(1024);
    EXPECT_EQ(kErrorAddressInUse, InitTcpRelay());
    listener.port = Peer(NewSocket(0, bind)).Listen(0);
    EXPECT_EQ(0, InitTcpRelay());
    descriptors = OpenDescriptors();
  }

  Peer& Connect(const std::string& toSend) {
    Peer& client = clients.emplace_back(NewSocket(listener.port, connect));
    client.toSend = toSend;
    return client;
  }

  /// The name server sends back what it gets, and closes after its client.
  void MoveServer() {
    pollfd waiting{server.descriptor, POLLIN, 0};
    if (poll(&waiting, 1, 0) == 1) accepted.emplace_back(accept(server.descriptor, nullptr, nullptr));
    for (Peer& peer : accepted) {
      peer.Move();
      if (peer.ended || !answersAtEnd) peer.toSend.append(peer.received, peer.toSend.size());
    }
    accepted.remove_if([](const Peer& peer) { return peer.ended && peer.sent == peer.received.size(); });
  }

  /// Runs everything until the condition holds; false when it does not within the time.
  template <typename Condition>
  bool ServeUntil(Condition condition, std::chrono::milliseconds time = 20s) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition() && std::chrono::steady_clock::now() < end) {
      for (Peer& client : clients) client.Move();
      QCoreApplication::processEvents();
      MoveServer();
    }
    return condition();
  }

  bool AllEchoed() {
    const auto echoed = [](const Peer& client) { return client.received == client.toSend; };
    return ServeUntil([&] { return std::ranges::all_of(clients, echoed); });
  }

  void ExpectToStall(const Peer& peer) {
    std::size_t before = SIZE_MAX;
    while (std::exchange(before, peer.sent) != peer.sent) ServeUntil([] { return false; }, 300ms);
    EXPECT_GT(peer.sent, kWaitingLimit);
    EXPECT_LT(peer.sent, kMiB);
  }

  static bool AllSlotsFree() { return std::ranges::count(SlotConnectionId, -1) == SlotUpper + 1; }

  void ExpectNothingLeftBehind() {
    clients.clear();
    EXPECT_TRUE(ServeUntil([&] { return AllSlotsFree() && OpenDescriptors() == descriptors; }));
  }

  TestApplication<QCoreApplication> application;
  QtEventLoop loop;
  OnPort<SocketTcpListener> listener;
  OnPort<SocketTcpClients> sockets;
  Peer server{NewSocket(0, bind)};
  std::list<Peer> accepted;
  std::list<Peer> clients;
  bool answersAtEnd = false;
  std::ptrdiff_t descriptors = 0;
};

TEST_F(RealTcpRelay, TwoHundredClientsAtOnceGetTheirOwnBytes) {
  for (unsigned i = 0; i < 200; ++i) Connect(Pattern(kMiB, i));
  EXPECT_TRUE(AllEchoed());
  ExpectNothingLeftBehind();
}

TEST_F(RealTcpRelay, AClientThatClosedItsSendingSideStillGetsItsAnswerAndTheEnd) {
  answersAtEnd = true;
  const Peer& client = Connect("query");
  ASSERT_TRUE(ServeUntil([&] { return client.sent == 5; }));
  shutdown(client.descriptor, SHUT_WR);
  EXPECT_TRUE(AllEchoed());
  EXPECT_TRUE(ServeUntil([&] { return client.ended; }));
  ExpectNothingLeftBehind();
}

TEST_F(RealTcpRelay, AServerThatRefusesFreesTheSlotAndTheClientStays) {
  sockets.port = Peer(NewSocket(0, bind)).Listen(0);
  const Peer& client = Connect("");
  EXPECT_TRUE(ServeUntil([&] { return SlotUpper == 0 && AllSlotsFree(); }));
  EXPECT_FALSE(client.ended);
  ExpectNothingLeftBehind();
}

TEST_F(RealTcpRelay, AReaderThatStopsHoldsLessThanOneMiBAndLosesNothing) {
  for (const bool clientReads : {false, true}) {
    Peer& client = Connect(Pattern(8 * kMiB));
    ASSERT_TRUE(ServeUntil([&] { return !accepted.empty(); }));
    Peer& peer = accepted.front();
    (clientReads ? peer : client).reads = false;
    ExpectToStall(clientReads ? client : peer);
    client.reads = peer.reads = true;
    ASSERT_TRUE(AllEchoed());
    ExpectNothingLeftBehind();
  }
}

TEST_F(RealTcpRelay, AServerThatNeverAcceptsHoldsLessThanOneMiB) {
  const Peer silent(NewSocket(0, bind));
  sockets.port = silent.Listen(0);
  const Peer inTheWay(NewSocket(sockets.port, connect));  // nobody else gets a connection now
  ExpectToStall(Connect(Pattern(8 * kMiB)));
}

}  // namespace
}  // namespace quenvar
