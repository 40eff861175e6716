// The local ports that queries leave from when an answer must not be easy to forge (RFC 5452, section 9.2): a port is
// used for a second at most, and is open as long as a request waits for an answer at it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quenvar {

/// Stands for a port from its opening to its closing, and never for another one. 0 stands for none.
using AskedPort = std::uint32_t;

/// The port that queries leave from now; kept until the next tick of the timer. 0 when none can be opened.
AskedPort PortForQueries();

bool IsPortOpen(AskedPort port);

/// Forgets all ports, as before the first one.
void ResetAskedPorts();

/// Sends a message to port 53 of a server. Does nothing when the port is closed.
void SendFromPort(AskedPort port, const std::string& serverAddress, std::string_view message);

/// Whether the number of a port is that of one of these.
bool IsAskedPortNumber(std::int32_t number);

/// The port at which the datagram that is handed to OnServerDatagram (engine/relay/query_path.h) has arrived, once: 0
/// for UDPPort1, and when asked again.
AskedPort TakeArrivalPort();
/// The same without taking it.
AskedPort ArrivalPort();

/// The tick of portTimer, which runs while a port is open: queries leave from another port from now on, and ports at
/// which no request waits are closed. The rules tick with it.
void OnPortTimer();

}  // namespace quenvar
