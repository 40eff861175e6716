#include "engine/host/own_addresses.h"

#include "base/ipv4_text.h"
#include "base/text.h"
#include "engine/log/event_log.h"
#include "platform/network.h"
#include "platform/platform.h"

namespace quenvar {

std::array<std::string, 16> OwnAddresses{"127.0.0.1", "255.255.255.255"};
std::int16_t OwnAddressCount = 2;

namespace {

/// Version 1.1: major in the low byte, minor in the high byte.
constexpr std::uint16_t kWinsockVersion = 257;

bool IsVersionTooLow(std::uint16_t version) {
  const int major = version & 0xFF;
  const int minor = version >> 8;
  return major < 1 || (major == 1 && minor < 1);
}

int AppendHostAddresses() {
  const std::string name(Trim(platform.network->HostName()));
  if (name.empty()) return -1;
  const auto addresses = platform.network->HostAddresses(name);
  if (addresses.empty()) return -1;
  for (const std::uint32_t address : addresses) {
    if (OwnAddressCount == static_cast<std::int16_t>(OwnAddresses.size())) break;
    OwnAddresses[static_cast<std::size_t>(OwnAddressCount++)] = Ipv4Text(address);
  }
  return 0;
}

}  // namespace

void ResetOwnAddresses() {
  OwnAddresses = {"127.0.0.1", "255.255.255.255"};
  OwnAddressCount = 2;
}

int GetOwnAddresses() {
  if (StartWinsock() != kWinsockStarted) return -1;
  const int result = AppendHostAddresses();
  StopWinsock();
  return result;
}

int StartWinsock() {
  const Network::StartResult started = platform.network->Start(kWinsockVersion);
  if (started.error == 0 && !IsVersionTooLow(started.version)) return kWinsockStarted;
  WriteFailureToLog(kNoNetworkLine);
  return -1;
}

void StopWinsock() {
  if (platform.network->Stop() != 0) WriteFailureToLog(kNoNetworkLine);
}

}  // namespace quenvar
