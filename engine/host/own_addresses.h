// This host's own IPv4 addresses, which cannot be name servers.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace quenvar {

/// Dotted decimal text. Slots 0 and 1 always are "127.0.0.1" and "255.255.255.255"; slots from OwnAddressCount on are
/// not used.
extern std::array<std::string, 16> OwnAddresses;
extern std::int16_t OwnAddressCount;

/// The log line of a host without network or own address.
inline constexpr const char* kNoNetworkLine = "Unable to initialise winsock.dll. Check your Internet setup.";

/// What StartWinsock returns on success.
inline constexpr int kWinsockStarted = 5;

/// Back to the two fixed entries.
void ResetOwnAddresses();

/// Appends the addresses of this host, as far as there are slots. 0, or -1 when none could be found.
int GetOwnAddresses();

/// Starts the network layer, version 1.1 or later. kWinsockStarted, or another value after a log line.
int StartWinsock();

/// Releases the network layer. A failure is logged.
void StopWinsock();

}  // namespace quenvar
