#pragma once

#include <array>
#include <cstdint>

namespace quenvar {

/// Numbers of the kernel's random source, fetched many at a time.
class SecretNumbers {
 public:
  /// Each of them is given once. The process ends where the kernel has none to give.
  std::uint16_t Next();

 private:
  std::array<std::uint16_t, 128> numbers_;
  std::size_t left_ = 0;
};

}  // namespace quenvar
