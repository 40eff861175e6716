// Name servers that fall silent for a minute, with the option MATCHQUESTION.
#include <algorithm>
#include <set>

#include "program.h"

namespace quenvar::lab {
namespace {

using std::chrono::steady_clock;

/// How many times as fast as ours the program's clock goes.
constexpr int kSpeed = 40;
constexpr std::chrono::milliseconds kRetryTime{5000 / kSpeed};
constexpr int kTries = 3;

/// Programs that look names up as the GNU C library does: after three tries a query is given up for a new one.
struct Askers {
  /// Each of them asks once more about so many names at once.
  void Ask(std::size_t names) {
    const bool anew = round++ % kTries == 0;
    for (Asker& asker : all) {
      if (anew) asker = {};
      for (; asker.queries.size() < names; ++number)
        asker.queries.push_back(Query(number, std::to_string(number) + ".test"));
      for (const std::string& query : asker.queries) asker.client.Ask(query);
    }
  }

  struct Asker {
    Client client;
    std::vector<std::string> queries;
  };
  std::vector<Asker> all;
  int round = 0;
  int number = 0;
};

using Outage = LabTest;

TEST_F(Outage, OfAMinuteIsOverWithTheFirstAnswerAndAllIsCounted) {
  for (const auto& [count, names] : {std::pair(30u, 1u), {200u, 4u}}) {
    WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", kMatchQuestion));
    Program program(home_, {.environment = FastClock(kSpeed)});
    Askers askers{std::vector<Askers::Asker>(count)};
    const auto start = steady_clock::now();
    for (auto next = start; next < start + 11 * kRetryTime; next += kRetryTime) {
      std::this_thread::sleep_until(next);
      while (servers_.Next(kNow)) continue;
      askers.Ask(names);
    }
    ASSERT_TRUE(RoundTrip()) << "the first answer";
    const auto answered = steady_clock::now();
    for (const auto& [client, queries] : askers.all)
      EXPECT_EQ(Exchange(client, queries[0], AnswerTo(queries[0])), AnswerTo(queries[0]));
    EXPECT_LT(steady_clock::now() - answered, std::chrono::seconds(1));
    program.Terminate();
    const auto counter = [this](const std::string& key) { return std::stoi(home_.Setting(key)); };
    EXPECT_EQ(counter("TOTALQ"), counter("ADNS") + counter("ACACHE") + counter("NOTANSWERED"));
    EXPECT_EQ(counter("ADNS"), static_cast<int>(count) + 1);
    EXPECT_EQ(home_.Setting("DNS_0_ENABLED"), "Yes");
  }
}

/// How many times as fast where more than one thing has to happen in time.
constexpr int kSlowSpeed = 20;

class LongOutage : public Outage {
 protected:
  LongOutage() { WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", kMatchQuestion)); }
  /// The next query, as it leaves.
  Datagram Ask(const std::string& name) {
    client_.Ask(Query(++identifier_, name));
    return servers_.Next().value();
  }
  void Answer(const Datagram& query) const { servers_.Answer(query, AnswerTo(query.bytes)); }

  int identifier_ = 0;
};

// The sweep finds two old hits at the ends of the table and a young request between them.
TEST_F(LongOutage, LosesNoRequestBesideExpiringHitsAndSettlesAHitAtItsOldPort) {
  Program program(home_, {.environment = FastClock(kSlowSpeed)});
  Answer(Ask("known.test"));
  client_.Answer();
  const auto waitUntil = [start = steady_clock::now()](int second) {
    std::this_thread::sleep_until(start + std::chrono::milliseconds(1000 * second / kSlowSpeed));
  };
  Ask("known.test");
  const Datagram first = Ask("first.test");
  waitUntil(2);
  const Datagram hit = Ask("known.test");
  Ask("known.test");
  waitUntil(28);
  Answer(hit);
  const Datagram last = Ask("last.test");
  Answer(first);
  waitUntil(54);
  Answer(last);
  for (int hitsAndAnswers = 5; hitsAndAnswers > 0; --hitsAndAnswers) EXPECT_NE(client_.Answer(), "(no answer)");
  program.Terminate();
  EXPECT_EQ(home_.Setting("TOTALQ") + home_.Setting("ADNS") + home_.Setting("ACACHE") + home_.Setting("NOTANSWERED"),
            "6330");
  EXPECT_GT(std::stod(home_.Setting("WTIME")), 25000);
}

TEST_F(LongOutage, TakesANewPortEverySecondAndHoldsThoseOfWaitingRequestsOnly) {
  const Program program(home_, {.environment = FastClock(kSlowSpeed)});
  const auto sockets = [table = "/proc/" + std::to_string(program.Id()) + "/net/udp"] {
    const std::string lines = ReadFile(table);
    return std::count(lines.begin(), lines.end(), '\n');
  };
  const auto before = sockets();
  std::set<in_port_t> ports;
  long most = 0;
  constexpr std::chrono::milliseconds kSeconds90{90000 / kSlowSpeed}, kPause{200 / kSlowSpeed};
  for (const auto end = steady_clock::now() + kSeconds90; steady_clock::now() < end;) {
    ports.insert(Ask(std::to_string(identifier_) + ".test").peer.sin_port);
    most = std::max(most, sockets() - before);
    std::this_thread::sleep_for(kPause);
  }
  EXPECT_GE(ports.size(), 60u);
  EXPECT_LE(most, 51);
}

}  // namespace
}  // namespace quenvar::lab
