#include "engine/program/housekeeping.h"

#include "base/numbers.h"
#include "engine/program/shutdown.h"
#include "engine/program/window_state.h"
#include "engine/relay/answer_rules.h"
#include "engine/relay/pending_table.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "settings/server_list.h"
#include "settings/settings_file.h"
#include "settings/statistics.h"
#include "tcp/tcp_relay.h"

namespace quenvar {

std::int16_t HousekeepingTicks = 0;

namespace {

constexpr std::int16_t kTicksWrap = 10000;
constexpr int kTableEveryTicks = 3;
constexpr int kFirstSaveTick = 20;
constexpr int kSaveEveryTicks = 60;
constexpr std::int32_t kExpiryMilliseconds = 40000;

bool Expired(const PendingRequest& request) {
  const auto elapsed = TickDiff(request.SentAt, platform.clock->MillisecondTick());
  return elapsed && *elapsed > kExpiryMilliseconds;
}

// The bound of the loop stays what it was before the first removal. A record that moves into a freed slot is looked at
// on the next tick, and the slots that fell free at the end are looked at with the copies that they still hold; both
// are intended, by the plain rules.
void RemoveExpired() {
  const int count = PendingCount;
  const bool all = answerRules->SweepsGivenUpSlots();
  for (int index = 0; index < (all ? count : PendingCount); ++index) {
    const PendingRequest& request = PendingTable[static_cast<std::size_t>(index)];
    if (!Expired(request)) continue;
    if (request.Waits()) {
      Increment(NOTANSWERED);
      UpDateStatistic();
    }
    RemovePending(index);
  }
}

}  // namespace

void OnTimer1() {
  SweepPending();
  UpDateStatistic();
  OnTcpTick();
  answerRules->Tick();
}

void SweepPending() {
  if (QuitRequested != kFalse) return UnloadMainWindow(UnloadMode::Code);
  if (HousekeepingTicks % kTableEveryTicks == 0 && CurrentPage == kServerPage) MakeListView();
  if ((HousekeepingTicks - kFirstSaveTick) % kSaveEveryTicks == 0) SaveAllSettings();
  if (++HousekeepingTicks == kTicksWrap) HousekeepingTicks = 0;
  RemoveExpired();
}

}  // namespace quenvar
