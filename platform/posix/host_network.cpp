#include "platform/posix/host_network.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstring>
#include <memory>

namespace quenvar {

namespace {

constexpr std::uint32_t kLoopbackNetwork = 127;

bool IsIpv4(const ifaddrs& entry) { return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_INET; }

}  // namespace

std::string HostNetwork::HostName() {
  char name[256] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::vector<std::uint32_t> HostNetwork::HostAddresses(const std::string& /*hostName*/) {
  std::vector<std::uint32_t> addresses;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return addresses;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (!IsIpv4(*entry)) continue;
    sockaddr_in socketAddress{};
    std::memcpy(&socketAddress, entry->ifa_addr, sizeof socketAddress);
    const std::uint32_t address = ntohl(socketAddress.sin_addr.s_addr);
    if (address >> 24 != kLoopbackNetwork) addresses.push_back(address);
  }
  return addresses;
}

}  // namespace quenvar
