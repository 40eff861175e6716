// Noise and spoofed answers at full speed.
#include <iostream>
#include <thread>

#include "soak.h"

namespace quenvar::lab {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Flood : public Soak, public testing::WithParamInterface<std::string> {
 protected:
  Flood() { WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", GetParam())); }

  /// A message with a name that fills the largest datagram.
  static std::string LongName(std::size_t number) {
    std::string message(12, '\0');
    message += '\7' + std::to_string(1'000'000 + number);
    while (message.size() < 65'000) message += '\77' + std::string(63, 'x');
    return message + '\0';
  }
  /// Sends noise to where clients ask, and answers that nobody has asked for to where servers answer. At full speed the
  /// kernel loses most of them; with a pause after every twenty, the program gets them all. Meanwhile 50 queries a
  /// second, which their server answers at once.
  void PourAndAsk(int datagrams, bool pauses, const sockaddr_in& upstream) {
    std::vector<std::string> noise;
    std::vector<std::string> spoofed;
    for (int i = 0; i < 500; ++i) {
      noise.push_back(Noise(Random(600)));
      spoofed.push_back(AnswerTo(Query(Random(65536), "spoofed-" + std::to_string(i) + ".test")));
    }
    std::atomic<bool> ended = false;
    const std::jthread pour([&] {
      for (std::size_t i = 0; i < static_cast<std::size_t>(datagrams) / 2; ++i) {
        pouring_.Ask(i % 4 == 0 ? LongName(i) : noise[i % noise.size()]);
        spoofing_.SendFrom(i % 2 == 0 ? kStranger : ServerAt(1), spoofed[i % spoofed.size()], upstream);
        if (pauses && i % 10 == 0) std::this_thread::sleep_for(milliseconds(1));
      }
      ended = true;
    });
    for (auto next = steady_clock::now(); !ended; next += milliseconds(20)) {
      client_.Ask(Query(Random(65536), "real-" + std::to_string(++asked_) + ".test"));
      for (; !ended && steady_clock::now() < next; std::this_thread::sleep_for(milliseconds(1)))
        while (const auto query = servers_.Next(kNow))
          if (query->bytes.find("real-") != std::string::npos) servers_.Answer(*query, AnswerTo(query->bytes));
      while (client_.Receive(kNow)) ++answered_;
    }
  }
  /// Ticks the box of the first name server.
  void EnableServer() {
    Output("export DISPLAY=" + screen_.Display() + " && xdotool search --sync --onlyvisible --name '^Quenvar$' " +
           "windowfocus --sync key alt+r sleep 0.3 mousemove --window %1 37 77 click 1");
  }

  const Screen screen_;
  const Client pouring_;
  const Endpoint spoofing_{Place::Upstream, "0.0.0.0", 0};
};

// The box counts when it is closed: while it is open, another one would not come.
TEST_P(Flood, LeavesItStanding) {
  Program program(home_, {.display = screen_.Display()});
  ASSERT_TRUE(screen_.Shows("Quenvar"));
  client_.Ask(Query(1, "first.test"));
  const Datagram first = servers_.Next().value();
  servers_.Answer(first, AnswerTo(first.bytes));
  EXPECT_EQ(client_.Answer(), AnswerTo(first.bytes));
  const int datagrams = Size(200'000);
  const auto begin = steady_clock::now();
  PourAndAsk(datagrams / 2, false, first.peer);
  ASSERT_TRUE(screen_.Shows("Critical Error!"));
  const int before = Memory(program);
  PourAndAsk(datagrams / 2, true, first.peer);
  const std::chrono::duration<double> seconds = steady_clock::now() - begin;
  std::this_thread::sleep_for(std::chrono::seconds(1));  // until the program has taken what is left
  const int after = Memory(program);
  EXPECT_EQ(screen_.Count("Critical Error!"), 1);
  screen_.PressEnter("Critical Error!");
  EXPECT_TRUE(Eventually([&] { return screen_.Count("Critical Error!") == 0; }));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_EQ(screen_.Count("Critical Error!"), 0) << "only once";
  while (client_.Receive(kNow) || servers_.Next(kNow)) continue;
  EnableServer();
  const auto enabled = steady_clock::now();
  ASSERT_TRUE(RoundTrip());
  const auto wait = std::chrono::duration_cast<milliseconds>(steady_clock::now() - enabled);
  for (int query = 0; query < 100; ++query) ASSERT_TRUE(RoundTrip());
  program.Terminate();
  EXPECT_EQ(home_.Setting("DNS_0_ENABLED"), "Yes");
  EXPECT_LT(after, before + 32768) << "more than full buffers and a table of long names";
  std::cout << datagrams << " datagrams in " << seconds.count() << " s, meanwhile " << answered_ << " of " << asked_
            << " queries answered; memory " << before << " -> " << after << " KiB; answered " << wait.count()
            << " ms after the server was enabled\n";
}

INSTANTIATE_TEST_SUITE_P(Modes, Flood, kModes, ModeName);

}  // namespace
}  // namespace quenvar::lab
