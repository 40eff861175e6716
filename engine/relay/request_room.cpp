#include "engine/relay/request_room.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/ipv4_text.h"
#include "base/numbers.h"
#include "base/text.h"
#include "engine/relay/asked_queries.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "settings/address.h"
#include "settings/server_list.h"
#include "settings/statistics.h"

namespace quenvar {

namespace {

/// So many requests for one question, within so short a time and from one other host, are no users' programs.
constexpr int kLoopRequests = 250;
/// Programs of this host may all want the same at once.
constexpr int kOwnLoopRequests = 290;
/// A client gives up long before it has sent a query so often.
constexpr int kMostRetries = 20;
constexpr std::int32_t kLoopMilliseconds = 2000;

using Address = std::optional<std::uint32_t>;

std::vector<Address> EnabledServers() {
  std::vector<Address> addresses;
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (ServerEnabled[row] != kFalse) addresses.push_back(ReadHostAddress(ServerAddress[row]));
  return addresses;
}

bool ComesFromServer(const PendingRequest& request, const std::vector<Address>& servers) {
  const Address client = ReadHostAddress(request.ClientAddressText());
  return IsAskedPortNumber(request.ClientPort) || std::find(servers.begin(), servers.end(), client) != servers.end();
}

bool ComesBack(const PendingRequest& request, const std::vector<Address>& servers) {
  return ComesFromServer(request, servers) || WasJustForwarded(request.Identifier, request.Name);
}

bool IsRetryOf(const PendingRequest& request, const PendingRequest& earlier) {
  return request.ClientPort == earlier.ClientPort && request.Identifier == earlier.Identifier &&
         request.ClientAddress == earlier.ClientAddress && EqualWithoutCase(request.Name, earlier.Name);
}

void TakePlaceOf(PendingRequest& earlier, PendingRequest& request) {
  // Both were counted when they came; only one of them can be answered.
  if (earlier.Waits()) Increment(NOTANSWERED);
  request.Retries = static_cast<std::uint8_t>(earlier.Retries + 1);
  request.SentAt = earlier.SentAt;
  request.OwnIdentifier = earlier.OwnIdentifier;
  request.AskedFrom = earlier.AskedFrom;
  // When the earlier one came, no port could be opened.
  if (request.AskedFrom == 0) BeginAsking(request);
  earlier = request;
}

// Whose client has its answer from the cache goes first: it waits only for the gain to be measured. Then what has
// waited longest, also when the tick counter has wrapped since.
int FirstToGo() {
  const auto now = static_cast<std::uint32_t>(platform.clock->MillisecondTick());
  const auto claim = [now](const PendingRequest& request) {
    return std::pair(!request.Waits(), now - static_cast<std::uint32_t>(request.SentAt));
  };
  const auto first = std::max_element(PendingTable.begin(), PendingTable.begin() + PendingCount,
                                      [&](const auto& one, const auto& other) { return claim(one) < claim(other); });
  return static_cast<int>(first - PendingTable.begin());
}

void MakeRoom() {
  const int first = FirstToGo();
  if (PendingTable[static_cast<std::size_t>(first)].Waits()) Increment(NOTANSWERED);
  RemovePending(first);
}

// A third host on the way makes the queries of a loop look like another host's own.
bool IsOneQuestionOfOneHost(const PendingRequest& first) {
  const std::string address = first.ClientAddressText();
  const bool own = address.starts_with("127.") || IsOwnAddress(address);
  const std::int32_t now = platform.clock->MillisecondTick();
  const auto alike =
      std::count_if(PendingTable.begin(), PendingTable.begin() + PendingCount, [&](const PendingRequest& request) {
        const auto age = TickDiff(request.SentAt, now);
        return age && *age <= kLoopMilliseconds && request.ClientAddress == first.ClientAddress &&
               EqualWithoutCase(request.Name, first.Name);
      });
  return alike >= (own ? kOwnLoopRequests : kLoopRequests);
}

}  // namespace

void EnterRequest(PendingRequest& request) {
  const auto end = PendingTable.begin() + PendingCount;
  const auto earlier =
      std::find_if(PendingTable.begin(), end, [&](const PendingRequest& other) { return IsRetryOf(request, other); });
  // A relay that takes what comes back for a retry too would go round with this host for ever, and fill no table.
  const bool retry = earlier != end && earlier->Retries < kMostRetries && !ComesFromServer(request, EnabledServers());
  if (retry) return TakePlaceOf(*earlier, request);
  if (earlier != end) request.Retries = earlier->Retries;
  BeginAsking(request);
  if (PendingCount == kPendingSlots && !LooksLikeLoop()) MakeRoom();
  AddPending(request);
}

bool LooksLikeLoop() {
  if (PendingCount == 0) return false;
  const std::vector<Address> servers = EnabledServers();
  const auto back = std::count_if(PendingTable.begin(), PendingTable.begin() + PendingCount,
                                  [&](const PendingRequest& request) { return ComesBack(request, servers); });
  return 2 * back > PendingCount || IsOneQuestionOfOneHost(PendingTable[static_cast<std::size_t>(PendingCount) - 1]);
}

}  // namespace quenvar
