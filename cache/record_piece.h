// The form of one record of a chain (cache/answer_cache.h), and the way from one to the next.
#pragma once

#include <string>
#include <string_view>

#include "base/text.h"
#include "platform/platform.h"
#include "platform/record_store.h"

namespace quenvar {

inline constexpr char kLast = '\0';
inline constexpr char kContinued = '\1';
inline constexpr std::size_t kPayload = 249;
inline constexpr std::size_t kKeyLength = 5;

// No datagram needs more records, so that a longer chain must be a ring.
inline constexpr int kMostRecords = 65535 / kPayload + 1;

inline bool IsLast(std::string_view piece) { return !piece.empty() && piece.front() == kLast; }

/// Only for pieces that are not the last. Empty when the piece is too short to hold a key.
inline std::string_view NextKey(std::string_view piece) {
  return piece.size() > kKeyLength ? piece.substr(piece.size() - kKeyLength) : std::string_view();
}

/// The bytes of the answer in a piece that is the last or holds a key.
inline std::string_view Payload(std::string_view piece) {
  return piece.substr(1, IsLast(piece) ? piece.npos : piece.size() - 1 - kKeyLength);
}

/// Calls `use` with the key and the piece of each record of a chain. False, after some of them, when the chain is not
/// whole.
template <typename Use>
bool FollowChain(std::string_view name, Use use) {
  std::string key = UpperCase(name);
  for (int i = 0; i < kMostRecords; ++i) {
    const std::optional<std::string_view> piece = platform.records->Seek(key);
    if (!piece || piece->empty()) return false;
    const std::string_view next = IsLast(*piece) ? std::string_view() : NextKey(*piece);
    if (next.empty() && !IsLast(*piece)) return false;
    use(key, *piece);
    if (next.empty()) return true;
    key = UpperCase(next);
  }
  return false;
}

}  // namespace quenvar
