// The relay of TCP connections, with real clients on one side and name servers on the other.
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>

#include <cerrno>
#include <future>
#include <thread>

#include "program.h"

namespace quenvar::lab {
namespace {

std::string Pattern(std::size_t size, unsigned seed = 1) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
  return bytes;
}

void SendBackAll(const Socket& connection) {
  for (std::string piece; !(piece = Receive(connection, 65536, 0)).empty();) Send(connection, piece);
}

/// Sends until nothing more goes for a while: how many bytes of the pattern went.
std::size_t SendUntilItStalls(const Socket& connection) {
  const std::string bytes = Pattern(8 << 20);
  std::size_t sent = 0;
  for (int idle = 0; idle < 10; std::this_thread::sleep_for(std::chrono::milliseconds(30))) {
    const ssize_t size = send(*connection, &bytes[sent], bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    sent += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
    idle = size > 0 ? 0 : idle + 1;
  }
  return sent;
}

class TcpRelay : public LabTest {
 protected:
  Socket listening_ = Listen(Place::Upstream);
};

TEST_F(TcpRelay, TwoHundredClientsAtOnceGetTheirOwnBytes) {
  const Program program(home_);
  ASSERT_TRUE(RoundTrip()) << "the start is over";
  const std::size_t descriptors = program.OpenDescriptors();
  constexpr std::size_t kSize = 1 << 17;
  std::vector<std::jthread> servers;
  std::vector<Socket> clients;
  std::vector<std::future<void>> sending;
  for (unsigned number = 0; number < 200; ++number) {
    clients.push_back(Connect());
    servers.emplace_back(SendBackAll, Accept(listening_));
    sending.push_back(std::async(std::launch::async, Send, clients.back(), Pattern(kSize, number)));
  }
  for (unsigned number = 0; number < 200; ++number)
    EXPECT_TRUE(Receive(clients[number], kSize) == Pattern(kSize, number)) << number;
  sending.clear();
  clients.clear();
  EXPECT_TRUE(Eventually([&] { return program.OpenDescriptors() <= descriptors; })) << program.OpenDescriptors();
}

TEST_F(TcpRelay, AClientThatClosedItsSendingSideStillGetsItsAnswerAndTheEnd) {
  const Program program(home_);
  const Socket client = Connect();
  Socket server = Accept(listening_);
  Send(client, "query");
  shutdown(*client, SHUT_WR);
  EXPECT_EQ(Receive(server, 6), "query") << "and the end";
  Send(server, "answer");
  server.reset();
  EXPECT_EQ(Receive(client, 7), "answer");
}

TEST_F(TcpRelay, ASideThatStopsReadingHoldsLessThanOneMiBAndLosesNothing) {
  const Program program(home_);
  const Socket client = Connect();
  const Socket server = Accept(listening_);
  for (const auto& [from, to] : {std::pair(client, server), std::pair(server, client)}) {
    const std::size_t sent = SendUntilItStalls(from);
    EXPECT_GT(sent, 256u << 10);
    EXPECT_LT(sent, 1u << 20);
    EXPECT_TRUE(Receive(to, sent) == Pattern(sent));
  }
}

TEST_F(TcpRelay, AnUploadGoesOnWhileItsServerTakesAnythingElseItEndsInAReset) {
  const Program program(home_, {.environment = FastClock(10)});
  for (const auto& [size, taken] : {std::pair(900'000u, 900'000u), {300'000u, 0u}, {450'000u, 0u}}) {
    const Socket client = Connect();
    Socket server = Accept(listening_);
    const auto sending = std::async(std::launch::async, [&client, bytes = Pattern(size)] {
      Send(client, bytes);
      shutdown(*client, SHUT_WR);
    });
    std::string received, piece;
    while (received.size() < taken && !(piece = Receive(server, 5000)).empty()) {
      received += piece;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(received == Pattern(taken)) << received.size() << " bytes";
    pollfd reset = {*server, 0, 0};
    const int limit = taken == size ? 0 : static_cast<int>(kPatience.count());
    EXPECT_EQ(poll(&reset, 1, limit), taken == size ? 0 : 1) << size << " bytes";
    server.reset();
    EXPECT_TRUE(Ends(client));
  }
}

TEST_F(TcpRelay, AServerThatNeverAcceptsHoldsLessThanOneMiB) {
  WriteFile(home_.SettingsFile(), SettingsFor({50}));  // nobody is there
  const Program program(home_);
  EXPECT_LT(SendUntilItStalls(Connect()), 1u << 20);
}

TEST_F(TcpRelay, AServerThatRefusesLeavesItsClientAlone) {
  const Program program(home_);
  listening_.reset();
  const Socket client = Connect();
  for (int turn = 0; turn < 10; ++turn) EXPECT_TRUE(RoundTrip());
  EXPECT_EQ(Receive(client, 1, MSG_DONTWAIT), "");
  EXPECT_EQ(errno, EAGAIN) << "the connection is still there";
}

TEST_F(TcpRelay, AnAddressLeadsWhereItLeadsUdpAndNobodysAddressIsNoRefusal) {
  for (const std::string address : {"010.53..1.", "0.0..0"}) {
    std::string settings = SettingsFor({1});
    WriteFile(home_.SettingsFile(), settings.replace(settings.find("10.53.0.1"), 9, address));
    const Program program(home_);
    const Socket client = Connect();
    Send(client, "query");
    Socket server = address == "0.0..0" ? nullptr : Accept(listening_);
    Send(client, "more");
    EXPECT_TRUE(!server || (RoundTrip() && Receive(server, 9) == "querymore"));
    server.reset();
    shutdown(*client, SHUT_WR);
    EXPECT_TRUE(Ends(client)) << address;
  }
}

TEST_F(TcpRelay, OutOfDescriptorsItServesUdpAndTcpAgainAfterwards) {
  const Program program(home_, {.descriptorLimit = 128});
  std::vector<Socket> clients;
  for (int i = 0; i < 400; ++i) clients.push_back(Connect());
  const double cpuBefore = program.CpuSeconds();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_LT(program.CpuSeconds() - cpuBefore, 0.1) << "a tenth of the time";
  EXPECT_TRUE(RoundTrip());
  clients.clear();
  const auto left = std::chrono::steady_clock::now();
  const Socket late = Connect();
  Send(late, "late");
  while (Receive(Accept(listening_), 4) != "late") continue;
  EXPECT_LT(std::chrono::steady_clock::now() - left, std::chrono::seconds(2));
}

// Each server in its own way, and a client that goes on all the same.
TEST_F(TcpRelay, WithMatchQuestionAClientsConnectionEndsWithItsServersAndNoOtherwise) {
  const std::string settings = SettingsFor({1, 2, 3}, "Yes", "MATCHQUESTION=Yes\n");
  for (const std::string way : {"closes at once", "answers", "is not there", "none is enabled"}) {
    SCOPED_TRACE(way);
    std::string rows = settings;
    if (way == "is not there")
      for (const char* row : {"10.53.0.1", "10.53.0.2"}) rows.replace(rows.find(row), 9, "192.0.2.1");
    for (std::size_t at; way == "none is enabled" && (at = rows.find("=Yes\nDNS")) != std::string::npos;)
      rows.replace(at, 4, "=No");
    if (way == "none is enabled") rows.resize(rows.rfind("DNS_2"));
    WriteFile(home_.SettingsFile(), rows);
    const Program program(home_);
    const Socket client = Connect();
    Send(client, "query");
    const int wordless = way == "closes at once" ? 3 : way == "answers" ? 1 : 0;
    for (int i = 0; i < wordless; ++i) EXPECT_EQ(Receive(Accept(listening_), 5), "query");
    if (way == "answers" || way == "is not there") {
      const Socket server = Accept(listening_);
      EXPECT_EQ(Receive(server, 5), "query");
      Send(server, Pattern(100000));
    }
    const std::size_t answered = way == "answers" || way == "is not there" ? 100000 : 0;
    EXPECT_TRUE(Receive(client, answered) == Pattern(answered));
    send(*client, "next", 4, MSG_NOSIGNAL);
    EXPECT_TRUE(Ends(client));
  }
}

TEST_F(TcpRelay, WithMatchQuestionIdleConnectionsEndAfterTwoMinutesOrMakeRoom) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "Yes", "MATCHQUESTION=Yes\n"));
  const Program program(home_, {.descriptorLimit = 128, .environment = FastClock(30)});
  const Socket busy = Connect();
  const Socket busyServer = Accept(listening_);
  bool stays = true;
  std::jthread talk([&](const std::stop_token& end) {
    for (; stays && !end.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
      Send(busy, "x");
      stays = Receive(busyServer, 1) == "x";
    }
  });
  const auto start = std::chrono::steady_clock::now();
  const Socket idle = Connect();
  const Socket idleServer = Accept(listening_);
  const Socket notReading = Connect();
  const Socket itsServer = Accept(listening_);
  SendUntilItStalls(itsServer);
  pollfd reset = {*itsServer, 0, 0};
  pollfd end = {*idle, POLLIN, 0};
  EXPECT_EQ(poll(&end, 1, static_cast<int>(kPatience.count())), 1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
  EXPECT_TRUE(Ends(idle) && Ends(idleServer));
  EXPECT_EQ(poll(&reset, 1, static_cast<int>(kPatience.count())), 1);
  std::vector<Socket> clients, servers;
  for (int i = 0; i < 100; ++i) clients.push_back(Connect());
  Send(clients.back(), "late");
  pollfd data = {};
  do {
    servers.push_back(Accept(listening_));
    data = {*servers.back(), POLLIN, 0};
  } while (poll(&data, 1, 10) == 0 || Receive(servers.back(), 4) != "late");
  talk.request_stop();
  talk.join();
  EXPECT_TRUE(stays);
}

// In the tray, so that no other window has the title of the box.
TEST_F(TcpRelay, WithoutAServerToChooseAClientEndsTheProgram) {
  WriteFile(home_.SettingsFile(), SettingsFor({}, "Yes", "SYSTRAY=Yes\n"));
  const Screen screen;
  Program program(home_, {.display = screen.Display()});
  EXPECT_TRUE(Ends(Connect()));
  ASSERT_TRUE(screen.Shows("Quenvar"));
  screen.PressEnter("Quenvar");
  EXPECT_EQ(program.Wait(), 1);
}

TEST_F(TcpRelay, AClientThatSendsAfterItsServerHasClosedEndsTheProgram) {
  const std::string settings = SettingsFor({1}, "Yes", "SYSTRAY=Yes\n");
  WriteFile(home_.SettingsFile(), settings);
  const Screen screen;
  Program program(home_, {.display = screen.Display()});
  const Socket client = Connect();
  Accept(listening_);
  const Socket another = Connect();
  const Socket itsServer = Accept(listening_);
  Send(client, "too late");
  for (const Socket& socket : {client, another, itsServer}) EXPECT_TRUE(Ends(socket));
  ASSERT_TRUE(screen.Shows("Quenvar"));
  EXPECT_NE(program.StandardError().find("Run-time error '9'"), std::string::npos) << program.StandardError();
  {
    Program next(home_);  // a new copy, while the box is open
    EXPECT_TRUE(RoundTrip());
    EXPECT_TRUE(program.Runs());
    next.Signal(SIGKILL);
    next.Wait();
  }
  screen.PressEnter("Quenvar");
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_EQ(ReadFile(home_.SettingsFile()), settings);
}

}  // namespace
}  // namespace quenvar::lab
