#include "settings/statistics.h"

#include "settings/statistics_view.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

// Lives as long as the display that it stands for: what is shown already is not shown again.
struct Display : StatisticsView {
  void ShowCacheShare(std::int16_t percent) override { Set(cache, percent); }
  void ShowServerShare(std::int16_t percent) override { Set(server, percent); }
  void ShowLostShare(std::int16_t percent) override { Set(lost, percent); }
  void ShowWaiting(const std::string& count) override { Set(waiting, count); }
  void ShowGain(const std::string& text) override { Set(gain, text); }

  template <typename Value>
  void Set(Value& shown, const Value& value) {
    EXPECT_NE(shown, value) << "written although it does not differ";
    shown = value;
  }

  std::int16_t cache = 0, server = 0, lost = 0;
  std::string waiting = "0", gain = "0,0";
};
Display display;

class Statistics : public Service {
 protected:
  Statistics() { statisticsView = &display; }

  static void SetCounters(std::array<int, 4> counters, double wtime) {
    int at = 0;
    for (std::int16_t* const counter : {&TOTALQ, &ACACHE, &ADNS, &NOTANSWERED})
      *counter = static_cast<std::int16_t>(counters[at++]);
    WTIME = wtime;
  }
  static void SetPending(int waiting, int cacheAnswered) {
    PendingCount = 0;
    for (int i = 0; i < waiting + cacheAnswered; ++i) {
      AddPending(MakeRequest("name", "10.0.0.9", 1));
      if (i >= waiting) PendingTable[static_cast<std::size_t>(i)].AnsweredAt = 1;
    }
  }
};

TEST_F(Statistics, SharesAddUpByTheRemainderRulesAndTheGainIsShownByItsSize) {
  const struct {
    const char* what;
    std::array<int, 4> counters;
    int waiting, cache, server, lost;
    double wtime;
    const char* gain;
  } cases[] = {
      {"remainder to the cache", {3, 1, 1, 1}, 0, 34, 33, 33, 1234, "1.234 sec"},
      {"remainder to the lost ones", {7, 0, 3, 2}, 0, 0, 43, 57, 60000, "60 sec"},
      {"excess from the name servers, halves to even", {200, 1, 199, 3}, 0, 0, 98, 2, 60001, "1 min"},
      {"waiting ones are not settled", {5, 2, 1, 0}, 2, 67, 33, 0, 3600000, "60 min"},
      {"150 percent, and an excess taken from nothing, are not shown", {2, 3, 0, 0}, 0, 67, 33, 0, 3600001, "1 h"},
      {"nothing settled", {2, 0, 0, 0}, 2, 0, 0, 0, 0, "0 sec"},
      {"a share that overflows counts as nothing", {1, 0, 5000, 0}, 0, 0, 0, 100, 0, "0 sec"},
      {"all from the cache", {5, 5, 0, 0}, 0, 100, 0, 0, 0, "0 sec"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    SetCounters(c.counters, c.wtime);
    SetPending(c.waiting, 3);
    UpDateStatistic();
    EXPECT_EQ(std::tuple(display.cache, display.server, display.lost), std::tuple(c.cache, c.server, c.lost));
    EXPECT_EQ(std::pair(display.waiting, display.gain), std::pair(std::to_string(c.waiting), std::string(c.gain)));
  }
}

TEST_F(Statistics, CountersAgeOnceTheTotalHasPassed10000) {
  const struct {
    const char* what;
    std::array<int, 4> counters;
    double wtime;
    std::array<int, 4> aged;
  } cases[] = {
      {"not yet", {10000, 5000, 5000, 0}, 0, {10000, 5000, 5000, 0}},
      {"difference to the name servers", {10001, 5005, 5015, 10}, 0, {9001, 4504, 4488, 9}},
      {"the gain is part of the sum", {10001, 5000, 5000, 1}, 100.5, {9001, 4500, 4400, 1}},
      {"too much for the name servers", {10001, 9000, 1000, 1}, 2000, {9001, 6100, 900, 1}},
      {"too much for 16 bits", {10001, 5000, 5000, 1}, 1e6, {9001, 4500, 4500, 1}},
  };
  for (const auto& c : cases) {
    SetCounters(c.counters, c.wtime);
    UpDateStatistic();
    EXPECT_EQ((std::array<int, 4>{TOTALQ, ACACHE, ADNS, NOTANSWERED}), c.aged) << c.what;
  }
}

TEST_F(Statistics, ServerCountersAgeAndTheFirstFittingRowTakesTheDifference) {
  const std::tuple<std::array<std::int16_t, 2>, int, std::array<std::int16_t, 2>> cases[] = {
      {{5000, 5000}, 10000, {5000, 5000}}, {{5, 15}, 10001, {4, 14}}, {{10, 9981}, 10001, {9, 8992}}};
  for (const auto& [winning, total, aged] : cases) {
    std::copy(winning.begin(), winning.end(), ServerWinning.begin());
    TotalWinning = static_cast<std::int16_t>(total);
    MakeListView();
    EXPECT_EQ(std::pair(ServerWinning[0], ServerWinning[1]), std::pair(aged[0], aged[1]));
    EXPECT_EQ(TotalWinning, total == 10000 ? 10000 : 9001);
  }
}

TEST_F(Statistics, ClearingKeepsWhatIsInFlightAndTheWinners) {
  SetCounters({100, 50, 40, 5}, 70000);
  SetPending(5, 2);
  ServerResponded.fill(kTrue);
  ServerWinning[0] = 40;
  ClearStatistics();
  EXPECT_EQ(std::tuple(TOTALQ, ACACHE, ADNS, NOTANSWERED, WTIME), std::tuple(5, 0, 0, 0, 0.0));
  EXPECT_EQ(std::tuple(ServerResponded[15], ServerWinning[0]), std::tuple(kFalse, 40));
  EXPECT_EQ(display.waiting + " " + display.gain, "5 0 sec");
}

}  // namespace
}  // namespace quenvar
