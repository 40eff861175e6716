// Name servers that fall silent for a minute, with the option MATCHQUESTION.
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

}  // namespace
}  // namespace quenvar::lab
