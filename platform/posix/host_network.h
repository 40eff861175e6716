#pragma once

#include "platform/network.h"

namespace quenvar {

/// The network of this machine. The operating system needs no start of it, so Start and Stop always succeed.
class HostNetwork final : public Network {
 public:
  StartResult Start(std::uint16_t version) override { return {0, version}; }
  int Stop() override { return 0; }
  std::string HostName() override;
  std::vector<std::uint32_t> HostAddresses(const std::string& hostName) override;
};

}  // namespace quenvar
