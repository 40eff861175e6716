// What keeps the file of the cache from growing for ever: entries of MatchQuestionRules whose time-to-live is long over
// go, a few at every tick, and the file has an upper bound. Entries of the plain rules are left alone.
//
// The time of day is believed once it has agreed with the tick counter for an hour: a clock that was set wrong for less
// than that costs no entry.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quenvar {

/// The time of day, as far as it can be relied on.
class SteadyTime {
 public:
  /// Compares the two clocks; to be called at every tick. False when one of them has jumped.
  bool Note(std::int64_t second, std::int32_t tick);
  /// Whether both have agreed for an hour, up to the last call of Note.
  bool IsSteady() const { return steady_; }

 private:
  std::optional<std::int64_t> fromSecond_;
  std::int32_t fromTick_ = 0;
  bool steady_ = false;
};

class EntrySweep {
 public:
  static constexpr std::uint64_t kMostBytes = 256 * 1024 * 1024;

  explicit EntrySweep(std::uint64_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}

  /// Called every ten seconds, and every second while queries are under way. Looks at some entries, in turn, and
  /// removes what has been useless for a day. Near the upper bound it is what is useless now, and when a whole turn of
  /// that was not enough, the oldest of those looked at.
  void Tick();

  /// Whether the entry of `key` may become this large. At the upper bound none may grow and none be added.
  bool HasRoom(std::string_view key, std::size_t bytes);

 private:
  using Useful = std::vector<std::pair<std::int64_t, std::string>>;  // since when, and under which key

  void LookAtSize();
  void NoteTime(std::int64_t second);
  void Sweep(std::int64_t second);
  static void RemoveOldest(Useful& useful);

  std::uint64_t mostBytes_;
  std::uint64_t usedBytes_ = mostBytes_;  ///< by the last look; the first one is still to come
  std::uint64_t storedBytes_ = 0;         ///< at most, since then
  SteadyTime time_;
  std::string at_;  ///< the key that was looked at last
  bool nearBound_ = false;
  bool turnWasNotEnough_ = false;
};

}  // namespace quenvar
