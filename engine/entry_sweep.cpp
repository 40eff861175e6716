#include "engine/entry_sweep.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "cache/answer_cache.h"
#include "engine/pending_table.h"
#include "engine/stored_entry.h"
#include "platform/clock.h"
#include "platform/platform.h"

namespace quenvar {

namespace {

constexpr std::int32_t kSteadyMilliseconds = 3'600'000;
/// More than the clocks drift apart within an hour.
constexpr std::int64_t kToleratedSeconds = 30;
constexpr int kNoteEveryMinutes = 60;

constexpr int kRecordsOfATick = 200;
constexpr int kRecordsOfATickNearBound = 500;
/// Of those looked at, the oldest eighth goes.
constexpr std::size_t kOldest = 8;

}  // namespace

void SteadyTime::Note(std::int64_t second, std::int32_t tick) {
  const std::optional<std::int32_t> passed = fromSecond_ ? TickDiff(fromTick_, tick) : std::nullopt;
  const bool agree = passed && std::abs(second - *fromSecond_ - *passed / 1000) <= kToleratedSeconds;
  if (agree && *passed < kSteadyMilliseconds) return;
  steady_ = agree;
  fromSecond_ = second;
  fromTick_ = tick;
}

void EntrySweep::Tick() {
  const std::int64_t second = platform.clock->UnixSecond();
  time_.Note(second, platform.clock->MillisecondTick());
  if (!time_.IsSteady()) return;
  NoteTime(second);
  storedBytes_ = 0;
  usedBytes_ = platform.records->UsedBytes();
  if (!IsNearBound()) turnWasNotEnough_ = false;
  Sweep(second);
}

// The compaction of the next start goes by it.
void EntrySweep::NoteTime(std::int64_t second) {
  const auto minute = static_cast<std::int32_t>(second / kSecondsOfAMinute);
  if (std::abs(minute - platform.records->Stamp()) >= kNoteEveryMinutes) platform.records->SetStamp(minute);
}

void EntrySweep::Sweep(std::int64_t second) {
  const bool near = IsNearBound();
  std::vector<std::pair<std::int64_t, std::string>> useful;
  for (int i = 0; i < (near ? kRecordsOfATickNearBound : kRecordsOfATick); ++i) {
    const std::optional<std::string> key = platform.records->KeyAfter(at_);
    at_ = key.value_or("");
    if (!key) {
      turnWasNotEnough_ = near;
      break;
    }
    const std::optional<std::string_view> piece = platform.records->Seek(*key);
    const std::optional<StoredEntry> entry = piece ? FindEntry(*key, *piece) : std::nullopt;
    if (!entry) continue;
    if (IsUseless(*entry, second, near ? 0 : kSecondsOfADay))
      CacheRemove(*key);
    else
      useful.emplace_back(entry->second, *key);
  }
  if (!turnWasNotEnough_) return;
  const std::size_t oldest = (useful.size() + kOldest - 1) / kOldest;
  std::partial_sort(useful.begin(), useful.begin() + static_cast<std::ptrdiff_t>(oldest), useful.end());
  for (std::size_t i = 0; i < oldest; ++i) CacheRemove(useful[i].second);
}

bool EntrySweep::HasRoom(std::string_view key, std::size_t bytes) {
  // An entry takes up to twice its bytes. The file is asked again only after as much was stored as might have filled
  // it.
  storedBytes_ += 2 * bytes;
  if (usedBytes_ + storedBytes_ < mostBytes_) return true;
  usedBytes_ = platform.records->UsedBytes();
  storedBytes_ = 2 * bytes;
  return usedBytes_ + storedBytes_ < mostBytes_ || bytes <= CacheLookup(key).size();
}

}  // namespace quenvar
