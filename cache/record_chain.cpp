#include <string>
#include <string_view>

#include "base/text.h"
#include "cache/answer_cache.h"
#include "cache/record_piece.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/record_store.h"

namespace quenvar {

namespace {

constexpr std::size_t kLongestName = 255;

std::string Piece(char code, std::string_view payload, std::string_view nextKey = {}) {
  std::string piece(1, code);
  return piece.append(payload).append(nextKey);
}

bool WriteChain(std::string_view name, std::string_view value) {
  if (!CacheDeleteChain(name)) return false;
  std::string key(name);
  while (value.size() > kPayload) {
    const std::string next = NewContinuationKey();
    if (!CacheInsertRecord(key, Piece(kContinued, value.substr(0, kPayload), next))) return false;
    value.remove_prefix(kPayload);
    key = next;
  }
  return CacheInsertRecord(key, Piece(kLast, value));
}

// By far the most answers are short and replace a short one, which is done in place.
bool WriteAnswer(std::string_view name, std::string_view value) {
  if (value.size() < kPayload) {
    const std::optional<std::string_view> old = platform.records->Seek(UpperCase(name));
    if (old && IsLast(*old)) return old->substr(1) == value || platform.records->Update(Piece(kLast, value));
  }
  return WriteChain(name, value);
}

template <typename Write>
void WriteWhole(Write write) {
  RecordStore& records = *platform.records;
  if (!records.Begin()) return;
  if (write()) {
    records.Commit();
  } else {
    records.Rollback();
  }
}

}  // namespace

std::string CacheLookup(std::string_view name) {
  if (name.size() > kLongestName) return {};
  std::string value;
  const auto append = [&value](const std::string&, std::string_view piece) { value.append(Payload(piece)); };
  if (!FollowChain(name, append)) value.clear();
  return value;
}

void CacheStore(std::string_view name, std::string_view value) {
  // The database would refuse it, and with it the stores before it that are not on disk yet.
  if (name.size() > kLongestName) return;
  WriteWhole([&] { return WriteAnswer(name, value); });
}

void CacheRemove(std::string_view name) {
  WriteWhole([&] { return CacheDeleteChain(name); });
}

bool CacheDeleteChain(std::string_view key) {
  RecordStore& records = *platform.records;
  std::string next = UpperCase(key);
  // A ring ends too, at the record that was deleted first.
  while (const std::optional<std::string_view> piece = records.Seek(next)) {
    next = IsLast(*piece) ? std::string() : UpperCase(NextKey(*piece));
    if (!records.Delete()) return false;
    if (next.empty()) break;
  }
  return true;
}

bool CacheInsertRecord(std::string_view key, std::string_view piece) {
  const std::string upper = UpperCase(key);
  if (platform.records->Seek(upper) && !CacheDeleteChain(upper)) return false;
  return platform.records->Insert(upper, piece);
}

std::string NewContinuationKey() {
  std::string key(kKeyLength, '\0');
  do {
    for (char& c : key) c = static_cast<char>(static_cast<int>(255 * platform.process->Random()) + 1);
  } while (!CacheLookup(key).empty());
  return key;
}

}  // namespace quenvar
