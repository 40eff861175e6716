// Answers under load: to those who asked, among bad ones, and for months.
#include <algorithm>
#include <iostream>

#include "soak.h"

namespace quenvar::lab {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Traffic : public Soak, public testing::WithParamInterface<std::string> {
 protected:
  Traffic() { UseOptions(GetParam()); }

  /// Some of what a server may send before it sends the good answer.
  std::vector<std::string> BadAnswers(const std::string& query) {
    const std::string good = AnswerTo(query);
    const int size = static_cast<int>(good.size());
    std::vector<std::string> bad = {"", Noise(11), Noise(Random(600)), query,
                                    good.substr(0, static_cast<std::size_t>(Random(size)))};
    if (Random(10) == 0) bad.push_back(Noise(65507));
    if (Random(10) == 0) bad.push_back(good + Noise(65507 - size));
    for (int mutant = 0; mutant < 4; ++mutant) {
      bad.push_back(good);
      for (int change = Random(5); change >= 0; --change)
        bad.back()[static_cast<std::size_t>(Random(size))] = static_cast<char>(Random(256));
    }
    std::erase_if(bad, [this](const std::string&) { return Random(3) != 0; });
    std::shuffle(bad.begin(), bad.end(), random_);
    return bad;
  }
};

TEST_P(Traffic, AnAnswerReachesItsAskersOnly) {
  Program program(home_);
  const int queries = Size(1'000'000);
  while (asked_ < queries) ASSERT_NO_FATAL_FAILURE(AskAndAnswer(200));
  std::cout << Figures() << ", " << Memory(program) << " KiB\n";
  EXPECT_EQ(wrong_, 0);
  EXPECT_EQ(answered_, asked_);
  EXPECT_TRUE(HasRoomFor(300));
  program.Terminate();
  EXPECT_EQ(ReadCache(home_).fault, "");
}

// What the client gets may be bad in its records, but is what a server has sent for this question: its identifier and
// the spelling of its question apart.
TEST_P(Traffic, BadAnswersAreHarmless) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", GetParam()));
  Program program(home_);
  const int queries = Size(50'000);
  int good = 0;
  for (int round = 0; round < queries; ++round) {
    const std::string query =
        Query(Random(65536), std::to_string(round) + "-" + std::to_string(Random(1 << 30)) + ".bad.test");
    client_.Ask(query);
    const auto seen = servers_.Next();
    ASSERT_TRUE(seen) << "round " << round;
    std::set<std::string> sent;
    std::vector<std::string> answers = BadAnswers(query);
    answers.push_back(AnswerTo(query));
    for (const std::string& answer : answers) {
      servers_.Answer(*seen, answer);
      sent.insert(answer);
      if (answer.size() >= query.size())
        sent.insert(query.substr(0, 2) + answer.substr(2, 10) + query.substr(12) + answer.substr(query.size()));
    }
    const std::string answer = client_.Answer();
    ASSERT_TRUE(sent.contains(answer)) << "round " << round << ": " << answer.size() << " bytes";
    good += answer == AnswerTo(query) ? 1 : 0;
  }
  EXPECT_GT(good, 0);
  EXPECT_TRUE(HasRoomFor(300));
  std::cout << queries << " queries served, " << good << " of them by the good answer, " << Memory(program) << " KiB\n";
}

// The clock begins an hour and a half before the millisecond counter turns negative. The last questions are 200 of its
// seconds after the others, by which time those that nobody answers are given up. Only the age of those that wait while
// it turns cannot be computed any more: of these, some may stay until their name is answered.
TEST_P(Traffic, ItRunsForMonths) {
  constexpr int kSpeed = 20;
  const std::int64_t wrap = (std::int64_t{1} << 31) / 1000;
  constexpr milliseconds kMinuteBefore(60'000 / kSpeed);
  const milliseconds length(Size(20 * 60 * 1000));
  const auto begin = wrap - std::min<std::int64_t>(5400, length.count() * kSpeed / 1000 / 2);
  manners_ = {.names = 100, .longestDelay = milliseconds(80), .doubledPercent = 5, .lostPerMille = 5};
  Program program(home_, {.environment = {{"LD_PRELOAD", Preload("fast_clock")},
                                          {"SOAK_CLOCK_BEGIN", std::to_string(begin)},
                                          {"SOAK_CLOCK_SPEED", std::to_string(kSpeed)}}});
  const auto start = steady_clock::now();
  const auto askUntil = [&](milliseconds end, int count) {
    for (auto next = steady_clock::now(); next < start + end; next += milliseconds(100)) {
      std::this_thread::sleep_until(next);
      AskAndServe(count);
      if (HasFatalFailure()) return;
    }
  };
  ASSERT_NO_FATAL_FAILURE(askUntil(length / 10, 50));
  const int before = Memory(program);
  const milliseconds turn((wrap - begin) * 1000 / kSpeed);
  ASSERT_NO_FATAL_FAILURE(askUntil(turn - kMinuteBefore, 50));
  const std::size_t lostBefore = silent_.size();
  ASSERT_NO_FATAL_FAILURE(askUntil(turn + kMinuteBefore, 50));
  const int lostAtTurn = static_cast<int>(silent_.size() - lostBefore);
  ASSERT_NO_FATAL_FAILURE(askUntil(length, 50));
  const int after = Memory(program);
  manners_.lostPerMille = 0;
  ASSERT_NO_FATAL_FAILURE(askUntil(length + milliseconds(10'000), 1));
  ASSERT_TRUE(RoundTrip());
  const bool empty = HasRoomFor(300 - lostAtTurn);
  program.Terminate();
  std::cout << Figures() << ", memory " << before << " -> " << after << " KiB, NOTANSWERED "
            << home_.Setting("NOTANSWERED") << "\n";
  EXPECT_EQ(wrong_, 0);
  EXPECT_GE(answered_, asked_ - static_cast<int>(silent_.size()));
  EXPECT_LT(after, before + 4096) << "more than buffers that had not been needed yet";
  EXPECT_TRUE(empty) << "requests are left in the table";
  for (const char* key : {"ADNS", "ACACHE", "TOTALQ", "NOTANSWERED", "NDNS", "DNS_0_WINNING"}) {
    const int value = std::stoi(home_.Setting(key));
    EXPECT_TRUE(value >= 0 && value <= 10001) << key << "=" << value;
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, Traffic, kModes, ModeName);

}  // namespace
}  // namespace quenvar::lab
