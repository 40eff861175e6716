// The requests that wait for an answer of a name server.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenvar {

/// The value of `AnsweredAt` while the client waits for any answer.
inline constexpr std::int32_t kStillWaiting = -1;

struct PendingRequest {
  std::string Name;                    ///< the key of its query (engine/answer_rules.h): plainly, the question name
  std::array<char, 40> ClientAddress;  ///< dotted decimal IPv4 text, padded with blanks
  std::int32_t ClientPort;
  std::int32_t SentAt;      ///< millisecond tick at which the query arrived
  std::int32_t AnsweredAt;  ///< kStillWaiting, or the millisecond tick of the answer from the cache

  // Kept by rules that look at more than the name.
  std::string QueryHead;       ///< the query up to the end of its question name
  std::uint16_t OpenRows = 0;  ///< rows, as bits, of the servers asked that have not failed

  bool Waits() const { return AnsweredAt == kStillWaiting; }
  /// The client's address without the padding.
  std::string ClientAddressText() const;
};

/// A request that arrives now and waits.
PendingRequest MakeRequest(const std::string& name, std::string_view clientAddress, std::int32_t clientPort);

inline constexpr std::int16_t kPendingSlots = 300;

/// Slots 0 to PendingCount - 1 are in use, without gaps and in no order.
extern std::array<PendingRequest, kPendingSlots> PendingTable;
extern std::int16_t PendingCount;

/// Appends a request. A full table is taken as a sign that the host asks itself in a loop: all name servers are
/// disabled, all requests are forgotten, the user is told, and `request` is not stored.
void AddPending(const PendingRequest& request);

/// The index of the oldest request for `name`, found without case, that still waits; -1 when there is none.
int FindWaiting(std::string_view name);

/// The same among the requests that were answered from the cache.
int FindCacheAnswered(std::string_view name);

/// Takes a request out; the last one moves into its slot.
void RemovePending(int index);

/// `later` - `earlier` in milliseconds; empty where that overflows 32 bits.
std::optional<std::int32_t> TickDiff(std::int32_t earlier, std::int32_t later);

}  // namespace quenvar
