// The steps of the TCP relay. Besides copying, each step paces the side that it reads from by what waits for the other
// side (PaceClient, PaceServer), so that neither a slow reader nor a server that never accepts can fill the memory.
#include "tcp/tcp_relay.h"

#include "engine/log/event_log.h"
#include "engine/relay/query_path.h"
#include "platform/event_loop.h"
#include "platform/platform.h"
#include "platform/tcp.h"
#include "settings/server_list.h"
#include "tcp/connection_rules.h"

namespace quenvar {

namespace {

void PaceClient(std::size_t slot, std::size_t waiting) {
  platform.IPDaemon->SetReading(SlotConnectionId[slot], waiting <= kWaitingLimit);
}

void PaceServer(std::int16_t slot, std::size_t waiting) { platform.IPPort->SetReading(slot, waiting <= kWaitingLimit); }

bool SlotExists(std::int16_t slot) { return slot >= 0 && slot <= SlotUpper; }

}  // namespace

void ConnectToNameServer(std::int16_t slot) {
  platform.IPPort->Prepare(slot);
  platform.events->RunPendingEvents();
  const int row = Rules().ChooseServer(slot);
  if (row == -1) return Rules().OnNoServer(slot);
  platform.IPPort->SetRemoteHost(slot, ServerAddress[static_cast<std::size_t>(row)]);
  platform.events->RunPendingEvents();
  platform.IPPort->SetRemotePort(slot, kDnsPort);
  platform.events->RunPendingEvents();
  platform.IPPort->Connect(slot);
}

int InitTcpRelay() {
  SlotUpper = -1;
  platform.IPDaemon->SetHandlers({.connectionRequest = OnTcpRequest,
                                  .connected = OnTcpClientConnected,
                                  .dataIn = ForwardClientData,
                                  .disconnected = OnTcpClientDisconnected,
                                  .allSent = OnTcpClientAllSent,
                                  .hasMoved = HasTcpClientMoved,
                                  .makeRoom = MakeTcpRoom});
  platform.IPPort->SetHandlers({.connected = OnTcpServerConnected,
                                .dataIn = OnTcpServerData,
                                .disconnected = OnTcpServerDisconnected,
                                .allSent = OnTcpServerAllSent});
  platform.IPDaemon->SetLocalPort(kDnsPort);
  if (const int error = platform.IPDaemon->Activate()) return error;
  TcpTrace("*Load finished");
  return 0;
}

void TcpTrace(const std::string& /*text*/) {}

void OnTcpRequest(const std::string& /*address*/, std::int32_t /*port*/) { WriteLog("TCP connection request"); }

void OnTcpClientConnected(std::int16_t connection, int /*status*/, const std::string& /*description*/) {
  TcpTrace("*IP-Daemon connected!");
  // The slot is assigned before any event can run, so that the client's data finds it.
  if (!AssignSlot(connection)) {
    TcpTrace("   --> No Free slot!");
    return;
  }
  const std::int16_t slot = SlotOfConnection(connection);
  TcpTrace("    -> save to slot " + std::to_string(slot));
  ConnectToNameServer(slot);
}

void ForwardClientData(std::int16_t connection, std::string_view data) {
  const std::int16_t found = SlotOfConnection(connection);
  if (found == -1) return Rules().OnDataWithoutSlot();
  Rules().OnClientData(found, data);
  const std::size_t slot = static_cast<std::size_t>(found);
  if (SlotConnected[slot] == kFalse) {
    SlotQueue[slot] += data;
    TcpTrace("Could not send DATA! Queue: " + SlotQueue[slot]);
    PaceClient(slot, SlotQueue[slot].size());
    return;
  }
  TcpTrace("Datas send to server No #" + std::to_string(found));
  PaceClient(slot, platform.IPPort->Send(found, data));
}

void OnTcpClientDisconnected(std::int16_t connection, int status, const std::string& /*description*/) {
  const std::int16_t slot = SlotOfConnection(connection);
  TcpTrace("IPDaemon disconnected No #" + std::to_string(slot));
  if (slot != -1) Rules().OnClientGone(slot, status);
}

void OnTcpClientAllSent(std::int16_t connection) {
  const std::int16_t slot = SlotOfConnection(connection);
  if (slot != -1) PaceServer(slot, 0);
}

bool MakeTcpRoom() { return Rules().MakeRoom(); }

void OnTcpTick() { Rules().Tick(); }

bool HasTcpClientMoved(std::int16_t connection) {
  const std::int16_t slot = SlotOfConnection(connection);
  return slot != -1 && platform.IPPort->HasMoved(slot);
}

void OnTcpServerConnected(std::int16_t slot, int /*status*/, const std::string& description) {
  TcpTrace("IP-Port connected No #" + std::to_string(slot) + " : " + description);
  if (!SlotExists(slot)) return;
  const std::size_t index = static_cast<std::size_t>(slot);
  SlotConnected[index] = kTrue;
  if (SlotQueue[index].empty()) return;
  TcpTrace("   Sending unsend data: " + SlotQueue[index]);
  PaceClient(index, platform.IPPort->Send(slot, SlotQueue[index]));
  SlotQueue[index] = std::string();
}

void OnTcpServerData(std::int16_t slot, std::string_view data) {
  TcpTrace("Data From IP-Port No #" + std::to_string(slot));
  if (!SlotExists(slot)) return;
  Rules().OnServerData(slot);
  PaceServer(slot, platform.IPDaemon->Send(SlotConnectionId[static_cast<std::size_t>(slot)], data));
}

void OnTcpServerDisconnected(std::int16_t slot, int status, const std::string& /*description*/) {
  TcpTrace("Ip-Port disconnected No #" + std::to_string(slot));
  if (SlotExists(slot)) Rules().OnServerGone(slot, status);
}

void OnTcpServerAllSent(std::int16_t slot) {
  if (SlotExists(slot)) PaceClient(static_cast<std::size_t>(slot), 0);
}

}  // namespace quenvar
