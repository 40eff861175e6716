#include "engine/relay/pending_table.h"

#include <algorithm>
#include <limits>

#include "base/text.h"
#include "platform/clock.h"
#include "platform/message_box.h"
#include "platform/platform.h"
#include "settings/server_list.h"

namespace quenvar {

std::array<PendingRequest, kPendingSlots> PendingTable{};
std::int16_t PendingCount = 0;

namespace {

void ReportFullTable() {
  DisableAllServers();
  PendingCount = 0;
  platform.boxes->Show(
      "The amount of pending DNS requests exceeds the system capacaty. Please make sure that you did not declare your "
      "own host as a name server! All DNS servers have been disabled. Please check and reconfigre youe name servers!",
      "Critical Error!", BoxIcon::Critical, BoxButtons::Ok);
  MakeListView();
}

}  // namespace

std::string PendingRequest::ClientAddressText() const {
  return std::string(Trim(std::string_view(ClientAddress.data(), ClientAddress.size())));
}

PendingRequest MakeRequest(const std::string& name, std::string_view clientAddress, std::int32_t clientPort) {
  PendingRequest request;
  request.Name = name;
  request.ClientPort = clientPort;
  request.SentAt = platform.clock->MillisecondTick();
  request.ClientAddress.fill(' ');
  clientAddress.copy(request.ClientAddress.data(), request.ClientAddress.size());
  return request;
}

void AddPending(const PendingRequest& request) {
  if (PendingCount == kPendingSlots) return ReportFullTable();
  PendingTable[static_cast<std::size_t>(PendingCount)] = request;
  ++PendingCount;
}

int FindWaiting(std::string_view name) {
  return FindOldest(
      [&](const PendingRequest& request) { return request.Waits() && EqualWithoutCase(request.Name, name); });
}

int FindCacheAnswered(std::string_view name) {
  return FindOldest(
      [&](const PendingRequest& request) { return !request.Waits() && EqualWithoutCase(request.Name, name); });
}

void RemovePending(int index) {
  if (PendingCount == 0) return;
  --PendingCount;
  // The slot that is given up keeps its copy: a sweep under way still looks at it.
  if (index != PendingCount)
    PendingTable[static_cast<std::size_t>(index)] = PendingTable[static_cast<std::size_t>(PendingCount)];
}

std::optional<std::int32_t> TickDiff(std::int32_t earlier, std::int32_t later) {
  const std::int64_t difference = std::int64_t{later} - earlier;
  if (difference < std::numeric_limits<std::int32_t>::min() || difference > std::numeric_limits<std::int32_t>::max())
    return std::nullopt;
  return static_cast<std::int32_t>(difference);
}

}  // namespace quenvar
