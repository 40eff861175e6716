// What the program asks about the network of its own host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quenvar {

class Network {
 public:
  struct StartResult {
    int error;              ///< 0 when the network layer is ready
    std::uint16_t version;  ///< low byte major, high byte minor
  };

  virtual ~Network() = default;

  /// `version` as in StartResult: the lowest version that will do.
  virtual StartResult Start(std::uint16_t version) = 0;
  /// 0, or an error number.
  virtual int Stop() = 0;

  /// At most 255 characters; empty when the host has no name.
  virtual std::string HostName() = 0;
  /// The host's own IPv4 addresses in host byte order, read from its interfaces and never by a DNS query: the machine's
  /// resolver usually is this program, which would wait for itself. Loopback addresses are not among them.
  virtual std::vector<std::uint32_t> HostAddresses(const std::string& hostName) = 0;
};

}  // namespace quenvar
