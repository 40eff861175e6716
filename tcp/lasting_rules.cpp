#include "tcp/lasting_rules.h"

#include <utility>

#include "engine/relay/pending_table.h"
#include "engine/relay/query_path.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "platform/tcp.h"
#include "settings/server_list.h"
#include "tcp/tcp_relay.h"

namespace quenvar {

namespace {

constexpr std::int32_t kIdleMilliseconds = 120'000;
/// A connection that has moved within this time is in use.
constexpr std::int32_t kInUseMilliseconds = 2000;

/// A longer conversation is not begun anew with another server.
constexpr std::size_t kMostKept = 64 * 1024;

bool IsAssigned(std::int16_t slot) { return SlotConnectionId[static_cast<std::size_t>(slot)] != kFreeSlot; }

std::int16_t ConnectionOf(std::int16_t slot) { return SlotConnectionId[static_cast<std::size_t>(slot)]; }

}  // namespace

LastingRules::Client& LastingRules::ClientOf(std::int16_t slot) {
  const auto index = static_cast<std::size_t>(slot);
  if (clients_.size() <= index) clients_.resize(index + 1);
  Client& client = clients_[index];
  if (client.connection != ConnectionOf(slot))
    client = {.connection = ConnectionOf(slot), .movedAt = platform.clock->MillisecondTick()};
  return client;
}

int LastingRules::ChooseServer(std::int16_t slot) {
  Client& client = ClientOf(slot);
  const int best = BestServerBut(client.triedRows);
  if (best != -1) client.triedRows = static_cast<std::uint16_t>(client.triedRows | 1u << best);
  return best;
}

void LastingRules::OnNoServer(std::int16_t slot) {
  platform.IPPort->Disconnect(slot, false);
  End(slot);
}

void LastingRules::End(std::int16_t slot) {
  const std::int16_t connection = ConnectionOf(slot);
  ClientOf(slot) = {};
  FreeSlot(slot);
  platform.IPDaemon->Finish(connection);
}

void LastingRules::OnClientGone(std::int16_t slot, int error) {
  Client& client = ClientOf(slot);
  client.closedSending = true;
  client.gone = client.gone || error != 0;
  ConnectionRules::OnClientGone(slot, error);
}

void LastingRules::OnClientData(std::int16_t slot, std::string_view data) {
  Client& client = ClientOf(slot);
  if (client.sent.size() + data.size() > kMostKept) KeepNoMore(client);
  if (client.keepsSent) client.sent += data;
}

void LastingRules::KeepNoMore(Client& client) {
  client.keepsSent = false;
  client.sent = std::string();
}

bool LastingRules::MayTryNext(std::int16_t slot, int error) {
  const Client& client = ClientOf(slot);
  if (client.gone || BestServerBut(client.triedRows) == -1) return false;
  if (SlotConnected[static_cast<std::size_t>(slot)] == kFalse) return error != 0;
  // A client that closed its sending side may be gone as well, so it waits for one silent server only.
  return client.keepsSent && (error == 0 || !client.closedSending);
}

void LastingRules::OnServerGone(std::int16_t slot, int error) {
  const std::size_t index = static_cast<std::size_t>(slot);
  if (!MayTryNext(slot, error)) return End(slot);
  if (SlotConnected[index] != kFalse) SlotQueue[index] = ClientOf(slot).sent;
  SlotConnected[index] = kFalse;
  ConnectToNameServer(slot);
  if (ClientOf(slot).closedSending) platform.IPPort->Disconnect(slot, true);
}

std::int32_t LastingRules::IdleMilliseconds(std::int16_t slot) {
  Client& client = ClientOf(slot);
  const std::int32_t now = platform.clock->MillisecondTick();
  const std::uint64_t moved = platform.IPDaemon->Moved(client.connection) + platform.IPPort->Moved(slot);
  if (moved != client.moved) {
    client.moved = moved;
    client.movedAt = now;
  }
  return TickDiff(client.movedAt, now).value_or(0);
}

bool LastingRules::MakeRoom() {
  std::int16_t idlest = -1;
  std::int32_t longest = kInUseMilliseconds;
  for (std::int16_t slot = 0; slot <= SlotUpper; ++slot) {
    if (!IsAssigned(slot)) continue;
    const std::int32_t idle = IdleMilliseconds(slot);
    if (idle <= longest) continue;
    longest = idle;
    idlest = slot;
  }
  if (idlest == -1) return false;
  platform.IPDaemon->Close(ConnectionOf(idlest));
  OnClientGone(idlest, 1);
  return true;
}

void LastingRules::Tick() {
  for (std::int16_t slot = 0; slot <= SlotUpper; ++slot)
    if (IsAssigned(slot) && IdleMilliseconds(slot) > kIdleMilliseconds) {
      // A server that is not read, because its client reads nothing, would not see the orderly end.
      const bool again = std::exchange(ClientOf(slot).gone, true);
      platform.IPPort->Disconnect(slot, !again);
    }
}

}  // namespace quenvar
