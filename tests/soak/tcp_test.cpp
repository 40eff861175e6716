// TCP clients that come in thousands and behave badly.
#include <sys/socket.h>

#include <future>
#include <iostream>

#include "soak.h"

namespace quenvar::lab {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// A name server's side of a connection. It closes only when the other side has: a client that sends on after its
/// server has closed would end the program.
void TakeAll(const Socket& connection) {
  while (!Receive(connection, 4096, 0).empty()) continue;
}

class TcpClients : public Soak {
 protected:
  struct Guest {
    Socket socket;
    steady_clock::time_point leaves;
    bool sends;  ///< a byte now and then
  };

  /// One of a hundred is silent for a while, one sends a byte a second; the others leave at once in one of three ways.
  void Visit() {
    const Socket client = Connect();
    const int kind = Random(100);
    if (kind < 2)
      return guests_.push_back({client, steady_clock::now() + milliseconds(kind == 0 ? 1000 : 3500), kind == 1});
    if (kind < 70) Send(client, "a query");
    if (kind % 3 == 0) shutdown(*client, SHUT_WR);
    if (kind % 3 == 0 && kind > 40) guests_.push_back({client, steady_clock::now() + milliseconds(100), false});
    const linger reset = {1, 0};
    if (kind % 3 == 1) setsockopt(*client, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  }
  void SendOrLeave() {
    for (const Guest& guest : guests_)
      if (guest.sends) send(*guest.socket, "x", 1, MSG_NOSIGNAL);
    std::erase_if(guests_, [](const Guest& guest) { return guest.leaves < steady_clock::now(); });
  }

  std::vector<Guest> guests_;
};

TEST_F(TcpClients, TheyCannotExhaustIt) {
  const Socket listening = Listen(Place::Upstream);
  const auto servers = std::async(std::launch::async, [&] {
    while (true) std::thread(TakeAll, Accept(listening)).detach();
  });
  const std::shared_ptr<void> atTheEnd(nullptr, [&](void*) { shutdown(*listening, SHUT_RD); });
  const Program program(home_, {.descriptorLimit = 64});
  ASSERT_TRUE(RoundTrip());  // the start is over
  const int idle = OpenDescriptors(program);
  const int visits = Size(10'000);
  int most = 0;
  int before = 0;
  milliseconds longestWait(0);
  auto nextSecond = steady_clock::now();
  for (int visit = 0; visit < visits; ++visit) {
    if (visit == visits / 10) before = Memory(program);
    Visit();
    if (steady_clock::now() > nextSecond) {
      SendOrLeave();
      nextSecond += std::chrono::seconds(1);
    }
    if (visit % 10 != 0) continue;
    const auto asked = steady_clock::now();
    ASSERT_TRUE(RoundTrip()) << "visit " << visit;
    longestWait = std::max(longestWait, std::chrono::duration_cast<milliseconds>(steady_clock::now() - asked));
    most = std::max(most, OpenDescriptors(program));
  }
  for (; !guests_.empty(); std::this_thread::sleep_for(std::chrono::seconds(1))) SendOrLeave();
  EXPECT_TRUE(Eventually([&] { return OpenDescriptors(program) <= idle; }))
      << OpenDescriptors(program) << " descriptors, " << idle << " idle";
  const int after = Memory(program);
  std::cout << visits << " connections, descriptors " << idle << " -> at most " << most << " -> "
            << OpenDescriptors(program) << ", memory " << before << " -> " << after << " KiB, longest wait of a query "
            << longestWait.count() << " ms\n";
  EXPECT_LT(after, before + 512);
  EXPECT_LT(longestWait, milliseconds(1000));
}

}  // namespace
}  // namespace quenvar::lab
