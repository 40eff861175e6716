#pragma once

#include <cstdlib>

namespace quenvar {

/// Ends the program where a fuzzer finds that something does not hold. Stays in every build.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace quenvar
