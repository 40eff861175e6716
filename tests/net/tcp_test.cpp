// The relay of TCP connections, with real clients on one side and name servers on the other.
#include <signal.h>

#include <cstdlib>
#include <future>
#include <stdexcept>

#include "program.h"

namespace quenvar::lab {
namespace {

using namespace std::string_literals;

class TcpRelay : public LabTest {
 protected:
  void AskWith(const std::string& tool) {
    if (Output("command -v " + tool).empty()) GTEST_SKIP() << "Not tried: no " << tool;
    const Program program(home_);
    const std::string options = " @127.0.0.1 +tcp +noedns +timeout=10 +retry=0 by-tcp.test A";
    auto output = std::async(std::launch::async, Output, tool + options);
    const Socket server = Accept(listening_);
    // A message over TCP stands behind its length in two bytes (RFC 1035, section 4.2.2).
    const std::string length = Receive(server, 2);
    ASSERT_EQ(length.size(), 2u);
    const std::string answer = AnswerTo(Receive(server, static_cast<unsigned char>(length[1])));
    Send(server, "\0"s + static_cast<char>(answer.size()) + answer);
    const std::string text = output.get();
    EXPECT_NE(text.find("192.0.2.1"), std::string::npos) << text;
  }

  const Socket listening_ = Listen();
};

TEST_F(TcpRelay, DigAsksOverTcp) { AskWith("dig"); }

TEST_F(TcpRelay, KdigAsksOverTcp) { AskWith("kdig"); }

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

/// How long the clients stay. Ten seconds and more give the same, only later.
constexpr std::chrono::seconds kHeld(3);

TEST_F(TcpRelay, OutOfDescriptorsItServesUdpAndTcpAgainAfterwards) {
  const Program program(home_, {.descriptorLimit = 128});
  std::vector<Socket> clients;
  for (int i = 0; i < 400; ++i) clients.push_back(Connect());
  const double cpuBefore = program.CpuSeconds();
  const auto begin = std::chrono::steady_clock::now();
  const auto since = [](auto moment) { return std::chrono::steady_clock::now() - moment; };
  while (since(begin) < kHeld) {
    ASSERT_TRUE(RoundTrip());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  const double seconds = std::chrono::duration<double>(since(begin)).count();
  EXPECT_LT((program.CpuSeconds() - cpuBefore) / seconds, 0.1);
  clients.clear();
  const auto left = std::chrono::steady_clock::now();
  const Socket late = Connect();
  Send(late, "late");
  while (Receive(Accept(listening_), 4) != "late") continue;
  EXPECT_LT(since(left), std::chrono::seconds(2));
  EXPECT_TRUE(RoundTrip());
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
