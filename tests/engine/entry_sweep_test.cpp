#include "engine/relay/entry_sweep.h"

#include <random>

#include "cache/answer_cache.h"
#include "engine/relay/stored_entry.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::uint64_t kMost = 200'000;
constexpr std::int64_t kTenYears = 10 * 365 * 24 * kHour;

class Sweep : public Service {
 protected:
  Sweep() {
    platform.records = &records;
    OpenCache();
  }

  static std::string Key(const std::string& name) { return name + kNameEnd + "N1 1"; }
  void Store(const std::string& name, std::uint32_t lifetime, std::size_t bytes = 40) {
    const std::string answer = ReplyTo(QueryFor(name), "100", Record(kA, lifetime, std::string(bytes, 'x')));
    CacheStore(Key(name), EntryBytes(answer, clock.second));
  }
  // In an order that has nothing to do with their age.
  static std::string NameOf(int number) { return "n" + std::to_string(number * 7919 % 100003); }
  static bool Has(const std::string& name) { return !CacheLookup(Key(name)).empty(); }
  void Run(std::int64_t seconds, std::int64_t step = 10) {
    for (; seconds > 0; seconds -= step) {
      Pass(step);
      sweep.Tick();
    }
  }
  void Pass(std::int64_t seconds) {
    clock.second += seconds;
    clock.now = static_cast<std::int32_t>(static_cast<std::uint32_t>(clock.now + seconds * 1000));
  }

  FakeRecordStore records;
  EntrySweep sweep{kMost};
};

TEST_F(Sweep, TakesWhatIsUselessForADayByAClockThatWasRightForAnHour) {
  struct Span {
    std::int64_t jump, seconds;
  };
  const std::tuple<const char*, std::vector<Span>, bool> cases[] = {
      {"not a day", {{0, 24 * kHour + 50}}, true},
      {"a day", {{0, 24 * kHour + 70}}, false},
      {"a day, started anew within the last hour", {{24 * kHour + 70, kHour - 10}}, true},
      {"ten years on and back", {{0, 2 * kHour}, {kTenYears, kHour - 20}, {-kTenYears, 2 * kHour}}, true},
      {"ten years on for good", {{0, 2 * kHour}, {kTenYears, kHour + 20}}, false},
      {"a day back and on", {{0, 2 * kHour}, {-24 * kHour, kHour}, {24 * kHour, 2 * kHour}}, true},
      {"stored two days from now", {{-48 * kHour, kHour + 20}}, false},
      {"ten years on for two hours and back", {{kTenYears, 2 * kHour}, {-kTenYears, kHour - 20}}, false},
      {"again and again", {{kTenYears, kHour / 2}, {1000, kHour / 2}, {1000, kHour / 2}, {1000, kHour / 2}}, true}};
  for (const auto& [what, spans, left] : cases) {
    sweep = EntrySweep(kMost);
    Store("a.example", 60);
    Store("plain", 60);
    CacheStore("PLAIN", CacheLookup(Key("plain")));
    for (const Span& span : spans) {
      clock.second += span.jump;
      Run(span.seconds);
    }
    EXPECT_EQ(Has("a.example"), left) << what;
    EXPECT_NE(CacheLookup("PLAIN"), "") << "an entry of the plain rules";
  }
}

TEST_F(Sweep, KeepsTheFileBelowItsBoundByWhatIsOverAndThenByTheOldest) {
  Run(2 * kHour);
  int names = 0;
  const auto fill = [&](std::uint32_t lifetime) {
    const int first = names;
    for (; sweep.HasRoom(Key(NameOf(names)), 90); Pass(1)) Store(NameOf(names++), lifetime);
    EXPECT_LT(records.UsedBytes(), kMost);
    return names - first;
  };
  const auto left = [&](int from, int to) {
    int count = 0;
    for (; from < to; ++from) count += Has(NameOf(from));
    return count;
  };
  EXPECT_GT(fill(200), 100);
  const int old = names;
  EXPECT_TRUE(sweep.HasRoom(Key(NameOf(1)), 80)) << "it takes no more than before";
  EXPECT_FALSE(sweep.HasRoom(Key(NameOf(1)), 900));
  Run(200);
  EXPECT_LT(left(0, old), old);
  for (int turn = 0; turn < 30; ++turn) {
    fill(80'000);
    Run(300);
    ASSERT_TRUE(left(0, old) == 0 || left(old, names) == names - old) << "those that are over go first";
  }
  EXPECT_LT(left(old, old + 200), 20);
  EXPECT_GT(left(names - 200, names), 180);
}

TEST_F(Sweep, LeavesNoPartsOfAnswersInWhateverOrderTheyAreStoredAndTaken) {
  std::mt19937 random(1);
  const auto below = [&](unsigned count) { return static_cast<std::uint32_t>(random() % count); };
  for (int step = 0; step < 3000; ++step) {
    const std::string name = "n" + std::to_string(below(20));
    if (below(4) != 0) Store(name, below(3) * 40'000, below(4) * 250);
    if (below(4) == 0) Run(below(3) * kHour, 60);
    std::size_t answers = 0;
    for (int i = 0; i < 20; ++i) answers += Has("n" + std::to_string(i)) ? 1 : 0;
    const std::size_t recordsLeft = records.records.size();
    ASSERT_EQ(CacheKeepWholeAnswers(), answers);
    ASSERT_EQ(records.records.size(), recordsLeft) << step;
  }
}

}  // namespace
}  // namespace quenvar
