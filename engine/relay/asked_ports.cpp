#include "engine/relay/asked_ports.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "engine/relay/answer_rules.h"
#include "engine/relay/pending_table.h"
#include "engine/relay/query_path.h"
#include "platform/platform.h"
#include "platform/timer.h"
#include "platform/udp_port.h"

namespace quenvar {

namespace {

constexpr int kPortMilliseconds = 1000;

// A closed one, whose number is 0, is opened again when the next port is needed.
struct Socket {
  UdpPort* port;
  AskedPort number = 0;
};
std::deque<Socket> sockets;  // handlers refer to them
AskedPort lastNumber = 0;
AskedPort current = 0;
AskedPort arrival = 0;

Socket* Find(AskedPort number) {
  const auto found =
      std::find_if(sockets.begin(), sockets.end(), [&](const Socket& socket) { return socket.number == number; });
  return found == sockets.end() ? nullptr : &*found;
}

Socket& AddSocket() {
  Socket& socket = sockets.emplace_back(Socket{&platform.ports->Add()});
  socket.port->SetLocalPort(0);
  socket.port->SetAcceptData(true);
  socket.port->SetDataArrived([&socket](std::string_view message, const std::string& address, std::int32_t port) {
    arrival = socket.number;
    OnServerDatagram(message, address, port);
  });
  return socket;
}

bool IsAwaited(AskedPort number) {
  return std::any_of(PendingTable.begin(), PendingTable.begin() + PendingCount,
                     [&](const PendingRequest& request) { return request.AskedFrom == number; });
}

}  // namespace

AskedPort PortForQueries() {
  if (current != 0) return current;
  Socket* const closed = Find(0);
  Socket& socket = closed != nullptr ? *closed : AddSocket();
  if (socket.port->Activate() != 0) return 0;
  socket.number = ++lastNumber;
  platform.portTimer->SetIntervalMilliseconds(kPortMilliseconds);
  platform.portTimer->Restart();
  return current = socket.number;
}

void ResetAskedPorts() {
  sockets.clear();
  current = arrival = 0;
}

bool IsPortOpen(AskedPort port) { return port != 0 && Find(port) != nullptr; }

void SendFromPort(AskedPort port, const std::string& serverAddress, std::string_view message) {
  const Socket* const socket = port == 0 ? nullptr : Find(port);
  if (socket == nullptr) return;
  socket->port->SetRemoteHost(serverAddress);
  socket->port->SetRemotePort(kDnsPort);
  socket->port->Send(message);
}

bool IsAskedPortNumber(std::int32_t number) {
  return std::any_of(sockets.begin(), sockets.end(),
                     [&](const Socket& socket) { return socket.number != 0 && socket.port->BoundPort() == number; });
}

AskedPort ArrivalPort() { return arrival; }

AskedPort TakeArrivalPort() { return std::exchange(arrival, 0); }

void OnPortTimer() {
  current = 0;
  bool open = false;
  for (Socket& socket : sockets) {
    if (socket.number != 0 && !IsAwaited(socket.number)) {
      socket.port->Deactivate();
      socket.number = 0;
    }
    open = open || socket.number != 0;
  }
  if (!open) platform.portTimer->Stop();
  answerRules->Tick();
}

}  // namespace quenvar
