#include "settings/statistics.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "base/numbers.h"
#include "engine/relay/pending_table.h"
#include "settings/server_list.h"
#include "settings/statistics_view.h"

namespace quenvar {

std::int16_t TOTALQ = 0;
std::int16_t ACACHE = 0;
std::int16_t ADNS = 0;
std::int16_t NOTANSWERED = 0;
double WTIME = 0;

namespace {

constexpr std::int16_t kAgeingLimit = 10000;
constexpr double kAgeing = 0.9;
constexpr double kMillisecondsPerSecond = 1000;
constexpr double kMillisecondsPerMinute = 60000;
constexpr double kMillisecondsPerHour = 3600000;

StatisticsView noView;

// What the display shows, so that a value is written only when it differs.
struct Shown {
  int cache = 0;
  int server = 0;
  int lost = 0;
  std::string waiting = "0";
  std::string gain = "0,0";
};
Shown shown;

struct Shares {
  int cache = 0;
  int server = 0;
  int lost = 0;

  int Sum() const { return cache + server + lost; }
};

void Age(std::int16_t& counter) { counter = RoundHalfEven(counter * kAgeing).value_or(counter); }

void AgeGlobalCounters() {
  if (TOTALQ <= kAgeingLimit) return;
  for (std::int16_t* counter : {&NOTANSWERED, &ADNS, &ACACHE, &TOTALQ}) Age(*counter);
  // The gain in milliseconds is part of this sum of requests. This is intended.
  const std::optional<std::int16_t> difference = RoundHalfEven(TOTALQ - WTIME - NOTANSWERED - ADNS - ACACHE);
  if (!difference) return;
  if (ADNS > std::abs(int{*difference}))
    AddChecked(ADNS, *difference);
  else
    AddChecked(ACACHE, *difference);
}

// In whole percent of the settled requests; 0 where that cannot be computed.
int Share(std::int16_t count, int settled) {
  return settled == 0 ? 0 : RoundHalfEven(double{1} * count / settled * 100).value_or(0);
}

// The three shares as they are shown: what rounding lost goes to the cache, or to the lost requests when nothing came
// from the cache, and what rounding added is taken from the name servers.
Shares SharesOf(int settled) {
  Shares shares{Share(ACACHE, settled), Share(ADNS, settled), Share(NOTANSWERED, settled)};
  if (shares.Sum() > 100) shares.server -= shares.Sum() - 100;
  const int missing = std::max(100 - shares.Sum(), 0);
  if (shares.cache != 0)
    shares.cache += missing;
  else
    shares.lost += missing;
  return shares;
}

// A bar takes whole percents only; other values leave it as it is.
template <typename Show>
void ShowShare(int& shownShare, int share, Show show) {
  if (share == shownShare || share < 0 || share > 100) return;
  shownShare = share;
  show(static_cast<std::int16_t>(share));
}

template <typename Show>
void ShowText(std::string& shownText, std::string text, Show show) {
  if (text == shownText) return;
  shownText = std::move(text);
  show(shownText);
}

void ShowShares(const Shares& shares) {
  ShowShare(shown.cache, shares.cache, [](std::int16_t percent) { statisticsView->ShowCacheShare(percent); });
  ShowShare(shown.server, shares.server, [](std::int16_t percent) { statisticsView->ShowServerShare(percent); });
  ShowShare(shown.lost, shares.lost, [](std::int16_t percent) { statisticsView->ShowLostShare(percent); });
}

std::string GainText() {
  if (WTIME > kMillisecondsPerHour) return NumberText(RoundToOneDecimal(WTIME / kMillisecondsPerHour)) + " h";
  if (WTIME > kMillisecondsPerMinute) return NumberText(RoundToOneDecimal(WTIME / kMillisecondsPerMinute)) + " min";
  return NumberText(WTIME / kMillisecondsPerSecond) + " sec";
}

}  // namespace

StatisticsView* statisticsView = &noView;

std::int16_t CountWaiting() {
  const auto used = PendingTable.begin() + PendingCount;
  return static_cast<std::int16_t>(
      std::count_if(PendingTable.begin(), used, [](const PendingRequest& request) { return request.Waits(); }));
}

void UpDateStatistic() {
  AgeGlobalCounters();
  const std::int16_t waiting = CountWaiting();
  const int settled = TOTALQ - waiting;
  ShowShares(settled != 0 ? SharesOf(settled) : Shares{});
  ShowText(shown.waiting, std::to_string(waiting), [](const std::string& text) { statisticsView->ShowWaiting(text); });
  ShowText(shown.gain, GainText(), [](const std::string& text) { statisticsView->ShowGain(text); });
}

void ClearStatistics() {
  ServerResponded.fill(kFalse);
  WTIME = 0;
  NOTANSWERED = 0;
  ADNS = 0;
  ACACHE = 0;
  TOTALQ = CountWaiting();
  UpDateStatistic();
}

void AgeServerCounters() {
  if (TotalWinning <= kAgeingLimit) return;
  int sum = 0;
  for (std::size_t row = 0; row < kServerRows; ++row) {
    Age(ServerWinning[row]);
    sum += ServerWinning[row];
  }
  Age(TotalWinning);
  const int difference = TotalWinning - sum;
  const auto rows = ServerWinning.begin() + kServerRows;
  const auto first = std::find_if(ServerWinning.begin(), rows,
                                  [difference](std::int16_t winning) { return winning > std::abs(difference); });
  if (first != rows) AddChecked(*first, difference);
}

std::string ServerShareText(int row) {
  if (TotalWinning == 0) return "0%";
  const double share = double{1} * ServerWinning[static_cast<std::size_t>(row)] / TotalWinning;
  return NumberText(RoundToOneDecimal(share * 100)) + "%";
}

}  // namespace quenvar
