#include "engine/relay/stored_entry.h"

#include "base/query_name.h"
#include "base/text.h"
#include "cache/answer_cache.h"
#include "cache/record_piece.h"
#include "engine/relay/message_reader.h"
#include "platform/clock.h"

namespace quenvar {

namespace {

constexpr std::size_t kTimeBytes = 8;

// A name may hold a byte 0 too, so that the answer has to tell where the name ends.
bool IsKeyOfEntry(std::string_view key, std::string_view answer) {
  const std::string name = UpperCase(ParseQueryName(answer)) + kNameEnd;
  return key.size() > name.size() && key.starts_with(name);
}

}  // namespace

std::string EntryBytes(std::string_view answer, std::int64_t second) {
  std::string bytes;
  bytes.reserve(answer.size() + kTimeBytes);
  bytes = answer;
  for (std::size_t i = kTimeBytes; i-- > 0;) bytes += static_cast<char>(second >> (8 * i) & 0xFF);
  return bytes;
}

std::optional<StoredEntry> ReadEntry(std::string bytes) {
  if (bytes.size() < kTimeBytes) return std::nullopt;
  std::uint64_t second = 0;
  for (const char byte : std::string_view(bytes).substr(bytes.size() - kTimeBytes))
    second = second << 8 | static_cast<unsigned char>(byte);
  bytes.resize(bytes.size() - kTimeBytes);
  return StoredEntry{std::move(bytes), static_cast<std::int64_t>(second)};
}

std::optional<StoredEntry> FindEntry(std::string_view key, std::string_view piece) {
  // Neither most keys of the plain rules nor any that continues a chain.
  if (key.find(kNameEnd) == key.npos) return std::nullopt;
  std::optional<StoredEntry> entry = ReadEntry(IsLast(piece) ? std::string(Payload(piece)) : CacheLookup(key));
  if (entry && !(ReadQuestion(entry->answer) && IsKeyOfEntry(key, entry->answer))) entry.reset();
  return entry;
}

bool IsUseless(const StoredEntry& entry, std::int64_t second, std::int64_t grace) {
  const auto age = static_cast<std::uint64_t>(second) - static_cast<std::uint64_t>(entry.second);
  const auto keptFor = static_cast<std::uint64_t>(Lifetime(entry.answer) + grace);
  // A time of the future is an age beyond all others.
  return age >= keptFor && -age > static_cast<std::uint64_t>(grace);
}

RecordStore::Keys FindUselessRecords() {
  RecordStore::Keys useless;
  const std::int64_t stamp = std::int64_t{platform.records->Stamp()} * kSecondsOfAMinute;
  const std::int64_t now = platform.clock->UnixSecond();
  if (stamp == 0) return useless;
  platform.records->ForEach([&](std::string_view key, std::string_view piece) {
    const std::optional<StoredEntry> entry = FindEntry(key, piece);
    if (entry && entry->second <= stamp && IsUseless(*entry, stamp, kSecondsOfADay) &&
        IsUseless(*entry, now, kSecondsOfADay))
      FollowChain(key, [&](const std::string& link, std::string_view) { useless.insert(link); });
  });
  return useless;
}

}  // namespace quenvar
