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

/// Looks for one request pass over many: what they look at stands in the first cache line.
struct alignas(64) PendingRequest {
  std::string Name;  ///< the key of its query (engine/relay/answer_rules.h): plainly, the question name
  std::int32_t ClientPort = 0;
  std::int32_t SentAt = 0;                  ///< millisecond tick at which the query arrived
  std::int32_t AnsweredAt = kStillWaiting;  ///< kStillWaiting, or the millisecond tick of the answer from the cache
  std::uint32_t AskedAddress = 0;           ///< of this host, as UdpPort::ArrivedAt gives it: answers leave from there
  std::uint16_t Identifier = 0;             ///< the one in the query, for rules that give it back
  std::uint16_t OwnIdentifier = 0;          ///< that the query is forwarded with, by rules that choose it
  std::uint16_t OpenRows = 0;               ///< rows, as bits, of the servers that were asked and have not answered
  std::uint32_t AskedFrom = 0;              ///< the port that the query leaves from (engine/relay/asked_ports.h)
  std::array<char, 40> ClientAddress = {};  ///< dotted decimal IPv4 text, padded with blanks

  // Noted by rules that look at more than the name (engine/relay/match_question.h).
  std::string Question;  ///< name, type and class as the query has them; empty where the answer suits nobody else
  std::string Cookie;    ///< the client's part of the cookie in the query; empty without one
  bool SpeaksEdns = false;
  std::uint8_t Retries = 0;       ///< how often its client has sent it again
  std::uint16_t AnswerBytes = 0;  ///< the longest answer that the client takes

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

/// The index of the oldest request that `suits`, of equals the lowest; -1 when there is none.
template <typename Suits>
int FindOldest(Suits suits) {
  int oldest = -1;
  for (std::size_t index = 0; index < static_cast<std::size_t>(PendingCount); ++index) {
    const PendingRequest& request = PendingTable[index];
    if ((oldest == -1 || request.SentAt < PendingTable[static_cast<std::size_t>(oldest)].SentAt) && suits(request))
      oldest = static_cast<int>(index);
  }
  return oldest;
}

/// Takes a request out; the last one moves into its slot.
void RemovePending(int index);

/// `later` - `earlier` in milliseconds; empty where that overflows 32 bits.
std::optional<std::int32_t> TickDiff(std::int32_t earlier, std::int32_t later);

}  // namespace quenvar
