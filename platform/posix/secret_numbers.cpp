#include "platform/posix/secret_numbers.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace quenvar {

std::uint16_t SecretNumbers::Next() {
  if (left_ == 0) {
    // Fails only when a signal comes before the system has gathered enough at boot.
    while (getentropy(numbers_.data(), sizeof numbers_) != 0)
      if (errno != EINTR) std::abort();
    left_ = numbers_.size();
  }
  return std::exchange(numbers_[--left_], 0);
}

}  // namespace quenvar
