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

  static void SetCounters(int totalq, int acache, int adns, int notAnswered, double wtime = 0) {
    TOTALQ = static_cast<std::int16_t>(totalq);
    ACACHE = static_cast<std::int16_t>(acache);
    ADNS = static_cast<std::int16_t>(adns);
    NOTANSWERED = static_cast<std::int16_t>(notAnswered);
    WTIME = wtime;
  }
  static void SetPending(int waiting, int cacheAnswered = 0) {
    PendingCount = 0;
    for (int i = 0; i < waiting + cacheAnswered; ++i) {
      AddPending(MakeRequest("name", "10.0.0.9", 1));
      if (i >= waiting) PendingTable[static_cast<std::size_t>(i)].AnsweredAt = 1;
    }
  }
};

TEST_F(Statistics, SharesAddUpByTheRemainderRules) {
  const struct {
    const char* what;
    int totalq, waiting, acache, adns, lost;
    int pc, pn, pl;
  } cases[] = {
      {"remainder to the cache", 3, 0, 1, 1, 1, 34, 33, 33},
      {"nothing from the cache", 3, 0, 0, 2, 1, 0, 67, 33},
      {"the other way round", 3, 0, 0, 1, 2, 0, 33, 67},
      {"remainder to the lost ones", 7, 0, 0, 3, 2, 0, 43, 57},
      {"excess from the name servers", 200, 0, 1, 199, 3, 0, 98, 2},
      {"halves to even", 200, 0, 1, 3, 196, 0, 2, 98},
      {"all from the cache", 5, 0, 5, 0, 0, 100, 0, 0},
      {"waiting ones are not settled", 5, 2, 2, 1, 0, 67, 33, 0},
      {"nothing settled", 2, 2, 0, 0, 0, 0, 0, 0},
      {"nothing at all", 0, 0, 0, 0, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    SetCounters(c.totalq, c.acache, c.adns, c.lost);
    SetPending(c.waiting, 3);
    UpDateStatistic();
    EXPECT_EQ(display.cache, c.pc) << c.what;
    EXPECT_EQ(display.server, c.pn) << c.what;
    EXPECT_EQ(display.lost, c.pl) << c.what;
    EXPECT_EQ(display.waiting, std::to_string(c.waiting)) << c.what;
  }
}

TEST_F(Statistics, ABarKeepsItsValueWhereAShareCannotBeShown) {
  SetCounters(4, 1, 2, 1);
  UpDateStatistic();
  SetCounters(2, 3, 0, 0);
  UpDateStatistic();
  EXPECT_EQ(display.cache, 25) << "150 percent";
  EXPECT_EQ(display.server, 50) << "the excess taken from nothing";
  EXPECT_EQ(display.lost, 0);
  SetCounters(1, 0, 5000, 0);
  UpDateStatistic();
  EXPECT_EQ(display.lost, 100) << "a share that overflows counts as nothing";
}

TEST_F(Statistics, TheGainIsShownByItsSize) {
  const std::pair<double, const char*> cases[] = {{0, "0 sec"},     {1234, "1.234 sec"}, {60000, "60 sec"},
                                                  {60001, "1 min"}, {90000, "1.5 min"},  {3600000, "60 min"},
                                                  {3600001, "1 h"}, {5400000, "1.5 h"},  {-500, "-0.5 sec"}};
  for (const auto& [wtime, text] : cases) {
    WTIME = wtime;
    UpDateStatistic();
    EXPECT_EQ(display.gain, text);
  }
}

TEST_F(Statistics, CountersAgeOnceTheTotalHasPassed10000) {
  const struct {
    const char* what;
    int totalq, acache, adns, lost;
    double wtime;
    int agedTotalq, agedAcache, agedAdns, agedLost;
  } cases[] = {
      {"not yet", 10000, 5000, 5000, 0, 0, 10000, 5000, 5000, 0},
      {"no difference", 10001, 5000, 5000, 1, 0, 9001, 4500, 4500, 1},
      {"difference to the name servers", 10001, 5005, 5015, 1, 0, 9001, 4504, 4496, 1},
      {"the gain is part of the sum", 10001, 5000, 5000, 1, 100.5, 9001, 4500, 4400, 1},
      {"too much for the name servers", 10001, 9000, 1000, 1, 2000, 9001, 6100, 900, 1},
      {"too much for 16 bits", 10001, 5000, 5000, 1, 1e6, 9001, 4500, 4500, 1},
  };
  for (const auto& c : cases) {
    SetCounters(c.totalq, c.acache, c.adns, c.lost, c.wtime);
    UpDateStatistic();
    EXPECT_EQ(TOTALQ, c.agedTotalq) << c.what;
    EXPECT_EQ(ACACHE, c.agedAcache) << c.what;
    EXPECT_EQ(ADNS, c.agedAdns) << c.what;
    EXPECT_EQ(NOTANSWERED, c.agedLost) << c.what;
  }
}

TEST_F(Statistics, ServerCountersAgeAndTheFirstFittingRowTakesTheDifference) {
  const struct {
    const char* what;
    std::array<std::int16_t, 3> winning;
    int total;
    std::array<std::int16_t, 3> aged;
    int agedTotal;
  } cases[] = {
      {"not yet", {5000, 5000, 0}, 10000, {5000, 5000, 0}, 10000},
      {"no difference", {5001, 5000, 0}, 10001, {4501, 4500, 0}, 9001},
      {"halves to even", {5, 15, 0}, 10001, {4, 14, 0}, 9001},
      {"the first row is too small", {5, 9990, 0}, 10001, {4, 8997, 0}, 9001},
  };
  for (const auto& c : cases) {
    std::copy(c.winning.begin(), c.winning.end(), ServerWinning.begin());
    TotalWinning = static_cast<std::int16_t>(c.total);
    MakeListView();
    for (std::size_t row = 0; row < 3; ++row) EXPECT_EQ(ServerWinning[row], c.aged[row]) << c.what << row;
    EXPECT_EQ(TotalWinning, c.agedTotal) << c.what;
  }
}

TEST_F(Statistics, AServersShareHasOneDecimal) {
  const std::tuple<int, int, const char*> cases[] = {{1, 3, "33.3%"}, {5, 0, "0%"}, {7, 7, "100%"}, {1, 16, "6.2%"}};
  for (const auto& [winning, total, text] : cases) {
    ServerWinning[4] = static_cast<std::int16_t>(winning);
    TotalWinning = static_cast<std::int16_t>(total);
    EXPECT_EQ(ServerShareText(4), text);
  }
}

TEST_F(Statistics, ClearingKeepsWhatIsInFlightAndTheWinners) {
  SetCounters(100, 50, 40, 5, 70000);
  SetPending(5, 2);
  ServerResponded.fill(kTrue);
  ServerWinning[0] = 40;
  ClearStatistics();
  EXPECT_EQ(TOTALQ, 5);
  EXPECT_EQ(ACACHE + ADNS + NOTANSWERED, 0);
  EXPECT_EQ(WTIME, 0);
  EXPECT_EQ(ServerResponded[15], kFalse);
  EXPECT_EQ(ServerWinning[0], 40);
  EXPECT_EQ(display.gain, "0 sec");
  EXPECT_EQ(display.waiting, "5");
}

}  // namespace
}  // namespace quenvar
