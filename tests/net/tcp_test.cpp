// The relay of TCP connections, with real clients on one side and name servers on the other.
#include <signal.h>

#include <future>
#include <stdexcept>

#include "program.h"

namespace quenvar::lab {
namespace {

class TcpRelay : public LabTest {
 protected:
  const Socket listening_ = Listen();
};

TEST_F(TcpRelay, BytesPassUnchanged) {
  const Program program(home_);
  std::string bytes(1 << 20, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * i >> 7);
  const Socket client = Connect();
  const Socket server = Accept(listening_);
  for (const auto& [from, to] : {std::pair(&client, &server), std::pair(&server, &client)}) {
    const auto sent = std::async(std::launch::async, [&] { Send(*from, bytes); });
    EXPECT_TRUE(Receive(*to, bytes.size()) == bytes);
  }
}

TEST_F(TcpRelay, OutOfDescriptorsItServesUdpAndTcpAgainAfterwards) {
  using std::chrono::seconds;
  using std::chrono::steady_clock;
  const Program program(home_, {.descriptorLimit = 128});
  std::vector<Socket> clients;
  for (int i = 0; i < 400; ++i) clients.push_back(Connect());
  const double cpuBefore = program.CpuSeconds();
  const auto begin = steady_clock::now();
  while (steady_clock::now() < begin + seconds(3)) {
    ASSERT_TRUE(RoundTrip());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_LT(program.CpuSeconds() - cpuBefore, 0.3) << "a tenth of the time";
  clients.clear();
  const auto left = steady_clock::now();
  const Socket late = Connect();
  Send(late, "late");
  while (Receive(Accept(listening_), 4) != "late") continue;
  EXPECT_LT(steady_clock::now() - left, seconds(2));
}

// In the tray, so that no other window has the title of the box.
TEST_F(TcpRelay, AClientThatSendsAfterItsServerHasClosedEndsTheProgram) {
  const std::string settings = "[OPTIONS]\nSYSTRAY=Yes\n" + SettingsFor({1});
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
  EXPECT_THROW(Connect(), std::runtime_error) << "TCP port 53 is closed";
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
