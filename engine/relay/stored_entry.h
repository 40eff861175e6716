// The form of the entries that MatchQuestionRules keep in the cache: the answer, then the second at which it was
// stored, eight bytes, high byte first. Their keys are the name, a byte 0 and more (engine/relay/match_question.h),
// which tells them from the entries of the plain rules.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/record_store.h"

namespace quenvar {

/// Ends the name within a key.
inline constexpr char kNameEnd = '\0';
inline constexpr std::int64_t kSecondsOfAMinute = 60;
inline constexpr std::int64_t kSecondsOfADay = 86'400;

struct StoredEntry {
  std::string answer;
  std::int64_t second = 0;  ///< since the beginning of 1970, when it was stored
};

std::string EntryBytes(std::string_view answer, std::int64_t second);

/// Empty for bytes that are no entry.
std::optional<StoredEntry> ReadEntry(std::string bytes);

/// The entry under `key` whose first record holds `piece`. Empty when the key is none of these rules.
std::optional<StoredEntry> FindEntry(std::string_view key, std::string_view piece);

/// Whether at `second` the entry's time-to-live has been over for `grace` seconds, or it was stored as long after that.
bool IsUseless(const StoredEntry& entry, std::int64_t second, std::int64_t grace);

/// The keys of all records of entries that have been useless for a day, and had been so at the minute that the file has
/// as its stamp; none where it has no stamp. Minutes count from the beginning of 1970.
RecordStore::Keys FindUselessRecords();

}  // namespace quenvar
