// The TCP relay: every client connection on local port 53 is paired with a connection of its own to one name server,
// and the bytes are copied both ways, unchanged. No message is read here, nothing is cached or counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/numbers.h"

namespace quenvar {

/// The highest slot, -1 as long as there is none. Slots are used again, the table never shrinks. Slot i always uses the
/// client socket IPPort(i).
extern std::int16_t SlotUpper;
/// In the place of a connection's id: the slot is free.
inline constexpr std::int16_t kFreeSlot = -1;
/// The listener's id of the connection that a slot serves, or kFreeSlot.
extern std::vector<std::int16_t> SlotConnectionId;
/// The slot's connection to the name server is up.
extern std::vector<Boolean16> SlotConnected;
/// What the client has sent before that, in order of arrival.
extern std::vector<std::string> SlotQueue;

/// Bytes that may wait for one side before the other side is not read any more. With one piece of 64 KiB more, and the
/// buffers of the operating system, a side that stops reading holds less than 1 MiB here.
inline constexpr std::size_t kWaitingLimit = 256 * 1024;

/// Starts listening on local TCP port 53. 0, or the error number of the socket layer (platform/udp_port.h).
int InitTcpRelay();

/// The highest of the free slots, or a new one.
std::int16_t FindFreeSlot();

/// Gives a free slot to the connection. Always true, since the table grows.
bool AssignSlot(std::int16_t connection);

/// The highest slot that serves the connection, or -1.
std::int16_t SlotOfConnection(std::int16_t connection);

/// Makes the slot free for another connection.
void FreeSlot(std::int16_t slot);

/// Starts to connect an assigned slot to a name server. Lets events run. What happens without one, and with data or
/// ends that find nothing on the other side, is left to the rules (tcp/connection_rules.h).
void ConnectToNameServer(std::int16_t slot);

/// Every ten seconds.
void OnTcpTick();

/// Passes on what a client has sent, or queues it while the name server's connection is not up.
void ForwardClientData(std::int16_t connection, std::string_view data);

/// Takes every step of the relay as a line of text and drops it. Tracing is switched on by giving it a body.
void TcpTrace(const std::string& text);

// Events of the listener: a client's connection.
void OnTcpRequest(const std::string& address, std::int32_t port);
/// Assigns a slot and starts to connect it to the name server. Lets events run.
void OnTcpClientConnected(std::int16_t connection, int status, const std::string& description);
void OnTcpClientDisconnected(std::int16_t connection, int status, const std::string& description);
void OnTcpClientAllSent(std::int16_t connection);
bool HasTcpClientMoved(std::int16_t connection);
bool MakeTcpRoom();

// Events of the client sockets: a slot's connection to its name server. A slot that does not exist is ignored.
void OnTcpServerConnected(std::int16_t slot, int status, const std::string& description);
void OnTcpServerData(std::int16_t slot, std::string_view data);
void OnTcpServerDisconnected(std::int16_t slot, int status, const std::string& description);
void OnTcpServerAllSent(std::int16_t slot);

}  // namespace quenvar
