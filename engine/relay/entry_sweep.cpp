#include "engine/relay/entry_sweep.h"

#include <algorithm>
#include <cstdlib>

#include "cache/answer_cache.h"
#include "cache/record_piece.h"
#include "engine/relay/pending_table.h"
#include "engine/relay/stored_entry.h"
#include "platform/clock.h"
#include "platform/platform.h"

namespace quenvar {

namespace {

constexpr std::int32_t kSteadyMilliseconds = 3'600'000;
/// More than the clocks drift apart within an hour.
constexpr std::int64_t kToleratedSeconds = 30;
constexpr int kNoteEveryMinutes = 60;

/// What is done at a tick, counted in records: to read one is one, to remove one is four.
constexpr int kWorkOfATick = 400;
constexpr int kWorkOfRemoving = 4;
/// Of those looked at, the oldest eighth goes.
constexpr std::size_t kOldest = 8;
/// What a new record takes of the file at most: a part of a page that is split for it, and one for the end of a long
/// one.
constexpr std::size_t kBytesOfARecord = 4096;

int RecordsOf(const std::string& answer) { return static_cast<int>(answer.size() / kPayload) + 1; }

}  // namespace

bool SteadyTime::Note(std::int64_t second, std::int32_t tick) {
  const std::optional<std::int32_t> passed = fromSecond_ ? TickDiff(fromTick_, tick) : std::nullopt;
  const bool agree = passed && std::abs(second - *fromSecond_ - *passed / 1000) <= kToleratedSeconds;
  if (agree && *passed < kSteadyMilliseconds) return true;
  steady_ = agree;
  fromSecond_ = second;
  fromTick_ = tick;
  return agree || !passed;
}

void EntrySweep::Tick() {
  const std::int64_t second = platform.clock->UnixSecond();
  const bool agree = time_.Note(second, platform.clock->MillisecondTick());
  // What was noted may have been the wrong one of both times.
  if (!agree && platform.records->Stamp() != 0) platform.records->SetStamp(0);
  LookAtSize();
  if (!time_.IsSteady()) return;
  NoteTime(second);
  Sweep(second);
}

void EntrySweep::LookAtSize() {
  usedBytes_ = platform.records->UsedBytes();
  storedBytes_ = 0;
  const bool near = usedBytes_ > mostBytes_ / 8 * 7;
  if (std::exchange(nearBound_, near) == near) return;
  // All of the file is looked at for what is over before anything else goes.
  turnWasNotEnough_ = false;
  if (near) at_.clear();
}

// The compaction of the next start goes by it.
void EntrySweep::NoteTime(std::int64_t second) {
  const std::int64_t minute = second / kSecondsOfAMinute;
  if (std::abs(minute - platform.records->Stamp()) >= kNoteEveryMinutes)
    platform.records->SetStamp(static_cast<std::int32_t>(minute));
}

void EntrySweep::Sweep(std::int64_t second) {
  const std::int64_t grace = nearBound_ ? 0 : kSecondsOfADay;
  Useful useful;
  for (int work = kWorkOfATick; work > 0;) {
    const std::optional<std::string> key = platform.records->KeyAfter(at_);
    at_ = key.value_or("");
    if (!key) {
      turnWasNotEnough_ = nearBound_;
      break;
    }
    const std::optional<std::string_view> piece = platform.records->Seek(*key);
    const std::optional<StoredEntry> entry = piece ? FindEntry(*key, *piece) : std::nullopt;
    const int records = entry ? RecordsOf(entry->answer) : 1;
    work -= records;
    if (!entry) continue;
    if (IsUseless(*entry, second, grace)) {
      work -= kWorkOfRemoving * records;
      CacheRemove(*key);
    } else {
      useful.emplace_back(entry->second, *key);
    }
  }
  if (turnWasNotEnough_ && usedBytes_ > mostBytes_ / 32 * 31) RemoveOldest(useful);
}

void EntrySweep::RemoveOldest(Useful& useful) {
  const std::size_t oldest = (useful.size() + kOldest - 1) / kOldest;
  std::partial_sort(useful.begin(), useful.begin() + static_cast<std::ptrdiff_t>(oldest), useful.end());
  for (std::size_t i = 0; i < oldest; ++i) CacheRemove(useful[i].second);
}

bool EntrySweep::HasRoom(std::string_view key, std::size_t bytes) {
  const std::uint64_t most = (bytes / kPayload + 1) * kBytesOfARecord;
  storedBytes_ += most;
  // The file is asked again only after as much was stored as might have filled it.
  if (usedBytes_ < mostBytes_ && mostBytes_ - usedBytes_ > storedBytes_) return true;
  usedBytes_ = platform.records->UsedBytes();
  storedBytes_ = most;
  if (usedBytes_ < mostBytes_ && mostBytes_ - usedBytes_ > storedBytes_) return true;
  // A single record is replaced in place.
  return bytes < kPayload && bytes <= CacheLookup(key).size();
}

}  // namespace quenvar
