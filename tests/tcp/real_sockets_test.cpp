// The relay on real sockets. The message loop runs in the test's thread, clients and name servers in others.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <fstream>

#include "platform/qt/qt_event_loop.h"
#include "platform/qt/tcp_clients.h"
#include "platform/qt/tcp_listener.h"
#include "tcp/tcp_relay.h"
#include "tests/fakes/service.h"
#include "tests/tcp/peers.h"

namespace quenvar {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMiB = 1024 * 1024;

QCoreApplication& Application() {
  static int count = 1;
  static char name[] = "test_tcp";
  static char* arguments[] = {name, nullptr};
  static QCoreApplication application(count, arguments);
  return application;
}

struct ListenerOnPort : SocketTcpListener {
  void SetLocalPort(std::uint16_t) override { SocketTcpListener::SetLocalPort(port); }
  std::uint16_t port = 0;
};

struct ClientsToPort : SocketTcpClients {
  void SetRemotePort(std::int16_t index, std::int32_t) override { SocketTcpClients::SetRemotePort(index, port); }
  std::uint16_t port = 0;
};

std::string Pattern(std::size_t size, unsigned seed = 1) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
  return bytes;
}

double CpuSeconds() {
  rusage use{};
  getrusage(RUSAGE_SELF, &use);
  return static_cast<double>(use.ru_utime.tv_sec + use.ru_stime.tv_sec) +
         static_cast<double>(use.ru_utime.tv_usec + use.ru_stime.tv_usec) / 1e6;
}

long ResidentKiB() {
  std::ifstream status("/proc/self/statm");
  long total = 0, resident = 0;
  status >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// True when the other side has neither sent anything nor closed.
bool IsQuiet(int descriptor) {
  char byte;
  return recv(descriptor, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == -1 && errno == EAGAIN;
}

class RealTcpRelay : public Service {
 protected:
  RealTcpRelay() {
    Application();
    platform.IPDaemon = &listener;
    platform.IPPort = &clients;
    platform.events = &loop;
    SetServer(0, "127.0.0.1");
    close(ListenOnFreePort(listener.port));
  }

  void Start(std::uint16_t serverPort) {
    clients.port = serverPort;
    ASSERT_EQ(0, InitTcpRelay());
    descriptors = OpenDescriptors();
  }

  int Connect() const { return ConnectTo(listener.port); }

  /// Runs the message loop while `peers` work in a thread of their own.
  static void Serve(const std::function<void()>& peers) {
    QEventLoop serving;
    std::thread thread([&] {
      peers();
      QMetaObject::invokeMethod(&serving, &QEventLoop::quit, Qt::QueuedConnection);
    });
    serving.exec();
    thread.join();
  }

  /// Runs the message loop until the condition holds; false when it does not within the time.
  static bool ServeUntil(const std::function<bool()>& condition, std::chrono::milliseconds time = 15s) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!condition() && std::chrono::steady_clock::now() < end) {
      QEventLoop serving;
      QTimer::singleShot(5, &serving, &QEventLoop::quit);
      serving.exec();
    }
    return condition();
  }

  static bool AllSlotsFree() {
    return std::ranges::all_of(SlotConnectionId, [](auto id) { return id == -1; });
  }
  bool AllClosed() const { return AllSlotsFree() && OpenDescriptors() == descriptors; }

  QtEventLoop loop;
  ListenerOnPort listener;
  ClientsToPort clients;
  int descriptors = 0;
};

TEST_F(RealTcpRelay, ATakenPortIsReported) {
  const int taken = ListenOnFreePort(listener.port);
  EXPECT_EQ(kErrorAddressInUse, InitTcpRelay());
  close(taken);
  EXPECT_EQ(0, InitTcpRelay());
}

TEST_F(RealTcpRelay, BytesPassUnchangedBothWaysInAnySplit) {
  NameServer server(Echo);
  Start(server.Port());
  for (const auto& [size, piece] : {std::pair<std::size_t, std::size_t>{700, 1},
                                    {5000, 2},
                                    {200'000, 1460},
                                    {3 * kMiB, 65'537},
                                    {3 * kMiB, 3 * kMiB}}) {
    const std::string sent = Pattern(size);
    std::string received;
    Serve([&] {
      const int client = Connect();
      std::thread sending([&] { SendAll(client, sent, piece); });
      received = Receive(client, size);
      sending.join();
      close(client);
    });
    EXPECT_TRUE(received == sent) << size << " bytes in pieces of " << piece;
  }
  EXPECT_TRUE(ServeUntil([&] { return AllSlotsFree() && server.Served() == 5; }));
}

TEST_F(RealTcpRelay, TwoHundredClientsAtOnceGetTheirOwnBytes) {
  NameServer server(Echo);
  Start(server.Port());
  std::atomic<int> intact = 0;
  Serve([&] {
    std::vector<std::thread> threads;
    for (unsigned i = 1; i <= 200; ++i) {
      threads.emplace_back([&, i] {
        const std::string sent = Pattern(kMiB, i);
        const int client = Connect();
        std::thread sending([&] { SendAll(client, sent); });
        intact += Receive(client, sent.size()) == sent;
        sending.join();
        close(client);
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  EXPECT_EQ(200, intact);
  EXPECT_TRUE(ServeUntil([&] { return server.Served() == 200 && AllClosed(); }));
}

TEST_F(RealTcpRelay, AClientThatClosedItsSendingSideStillGetsItsAnswer) {
  NameServer server([](int descriptor) {
    const std::string query = Receive(descriptor);  // up to the end of the client's data
    std::this_thread::sleep_for(100ms);
    SendAll(descriptor, "answer to " + query);
  });
  Start(server.Port());
  std::string received;
  Serve([&] {
    const int client = Connect();
    SendAll(client, "query");
    shutdown(client, SHUT_WR);
    received = Receive(client);  // up to the end, so the relay has to close, too
    close(client);
  });
  EXPECT_EQ("answer to query", received);
  EXPECT_TRUE(ServeUntil([&] { return server.Served() == 1 && AllClosed(); }));
}

TEST_F(RealTcpRelay, AClientThatLeavesEndsItsServerConnection) {
  NameServer server(Echo);
  Start(server.Port());
  for (void (*leave)(int) : {+[](int descriptor) { close(descriptor); }, +[](int descriptor) { Reset(descriptor); }}) {
    Serve([&] {
      const int client = Connect();
      SendAll(client, "query");
      EXPECT_EQ("query", Receive(client, 5));
      leave(client);
    });
    EXPECT_TRUE(ServeUntil([&] { return AllClosed(); }, 3s));
  }
  EXPECT_EQ(0, SlotUpper) << "the slot is used again";
}

TEST_F(RealTcpRelay, AServerThatLeavesOrRefusesFreesTheSlotAndTheClientStays) {
  std::uint16_t nobody = 0;
  close(ListenOnFreePort(nobody));
  NameServer brief([](int descriptor) { SendAll(descriptor, Receive(descriptor, 5)); });
  NameServer rude([](int descriptor) {
    Receive(descriptor, 5);
    Reset(dup(descriptor));
  });
  struct Case {
    std::uint16_t port;
    std::string query;  // none where it could come after the refusal, since that would end the program
    std::string answer;
  };
  for (const Case& test :
       {Case{brief.Port(), "query", "query"}, Case{rude.Port(), "query", ""}, Case{nobody, "", ""}}) {
    Start(test.port);
    int client = -1;
    Serve([&] {
      client = Connect();
      SendAll(client, test.query);
      EXPECT_EQ(test.answer, Receive(client, test.answer.size()));
    });
    EXPECT_TRUE(ServeUntil([&] { return AllSlotsFree(); }));
    EXPECT_TRUE(IsQuiet(client));
    close(client);
    EXPECT_TRUE(ServeUntil([&] { return AllClosed(); }));
  }
}

TEST_F(RealTcpRelay, AReaderThatStopsHoldsLessThanOneMiBAndLosesNothing) {
  const std::string sent = Pattern(8 * kMiB);
  std::atomic<bool> read = false;
  std::size_t taken = 0;
  std::string received;
  const auto stalledReader = [&](int descriptor) {
    while (!read) std::this_thread::sleep_for(5ms);
    received = Receive(descriptor, sent.size());
  };
  const auto sender = [&](int descriptor) {
    taken = SendUntilStalled(descriptor, sent);
    read = true;
    SendAll(descriptor, std::string_view(sent).substr(taken));
  };
  for (const bool clientReads : {false, true}) {
    read = false;
    NameServer server([&](int descriptor) {
      SetSmallBuffers(descriptor);
      clientReads ? sender(descriptor) : stalledReader(descriptor);
    });
    Start(server.Port());
    Serve([&] {
      const int client = Connect();
      SetSmallBuffers(client);
      clientReads ? stalledReader(client) : sender(client);
      close(client);
    });
    EXPECT_GT(taken, kWaitingLimit);
    EXPECT_LT(taken, kMiB);
    EXPECT_TRUE(ServeUntil([&] { return server.Served() == 1; }));
    EXPECT_TRUE(received == sent);
  }
}

TEST_F(RealTcpRelay, AServerThatNeverAcceptsHoldsLessThanOneMiB) {
  std::uint16_t port = 0;
  const int silent = ListenOnFreePort(port, 0);
  const int filler = ConnectTo(port);  // the queue of unaccepted connections is full now
  Start(port);
  std::size_t taken = 0;
  Serve([&] {
    const int client = Connect();
    SetSmallBuffers(client);
    taken = SendUntilStalled(client, Pattern(8 * kMiB));
    Reset(client);
  });
  EXPECT_EQ(kFalse, SlotConnected[0]);
  EXPECT_GT(taken, kWaitingLimit);
  EXPECT_LT(taken, kMiB);
  close(filler);
  close(silent);
}

TEST_F(RealTcpRelay, TenThousandConnectionsInTurnLeaveNothingBehind) {
  std::uint16_t port = 0;
  const int serverSocket = ListenOnFreePort(port);
  std::thread server([&] {
    for (int client = 0; (client = accept(serverSocket, nullptr, nullptr)) != -1; close(client)) Echo(client);
  });
  Start(port);
  const auto open = [&](int count) {
    for (int i = 0; i < count; ++i) {
      const int client = Connect();
      const std::string query = Pattern(500);
      SendAll(client, query);
      EXPECT_TRUE(Receive(client, 500) == query);
      close(client);
    }
  };
  Serve([&] { open(1000); });
  [[maybe_unused]] const long before = ResidentKiB();
  Serve([&] { open(9000); });
  EXPECT_TRUE(ServeUntil([&] { return AllClosed(); }));
#ifndef __SANITIZE_ADDRESS__
  EXPECT_LT(ResidentKiB() - before, 2048);
#endif
  EXPECT_LT(SlotUpper, 8);
  shutdown(serverSocket, SHUT_RDWR);
  server.join();
  close(serverSocket);
}

/// Four hundred clients for four seconds, then one more. Returns the milliseconds until that one has its answer.
int CrowdThenOneClient(std::uint16_t port) {
  std::vector<int> crowd;
  for (int i = 0; i < 400; ++i) {
    crowd.push_back(ConnectTo(port));
    SendAll(crowd.back(), "query");
  }
  std::this_thread::sleep_for(4s);
  for (const int client : crowd) close(client);
  const auto left = std::chrono::steady_clock::now();
  const int last = ConnectTo(port);
  SendAll(last, "query");
  if (Receive(last, 5) != "query") return 20'000;
  return static_cast<int>((std::chrono::steady_clock::now() - left) / 1ms);
}

TEST_F(RealTcpRelay, OutOfDescriptorsItWaitsQuietlyAndServesAgainAfterwards) {
  std::uint16_t port = 0;
  const int serverSocket = ListenOnFreePort(port);
  const pid_t peers = fork();
  if (peers == 0) {
    std::thread([&] {
      for (int client = 0; (client = accept(serverSocket, nullptr, nullptr)) != -1;) {
        std::thread([client] { Echo(client), close(client); }).detach();
      }
    }).detach();
    _exit(CrowdThenOneClient(listener.port) < 2000 ? 0 : 1);
  }
  close(serverSocket);
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit low{128, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &low);
  Start(port);
  ServeUntil([] { return false; }, 1s);
  const double before = CpuSeconds();
  ServeUntil([] { return false; }, 2s);
  EXPECT_GT(SlotUpper, 30);
  EXPECT_LT(OpenDescriptors(), 128 - 8) << "some are kept for files";
  EXPECT_LT((CpuSeconds() - before) / 2.0, 0.1);
  int status = -1;
  bool ended = false;
  EXPECT_TRUE(ServeUntil([&] { return ended = ended || waitpid(peers, &status, WNOHANG) == peers; }, 30s));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the last client had to wait too long";
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace
}  // namespace quenvar
