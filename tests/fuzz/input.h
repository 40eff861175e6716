// Takes the input of a fuzzer apart.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

namespace quenvar {

/// Ends the program where a fuzzer finds that something does not hold. Stays in every build.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

/// Reads from the front. Behind the end there are zeros and empty texts.
class Input {
 public:
  Input(const char* data, std::size_t size) : rest_(data, size) {}

  bool AtEnd() const { return rest_.empty(); }

  std::size_t Byte() { return AtEnd() ? 0 : static_cast<unsigned char>(Take(1)[0]); }

  /// Less than `bound`, which is at most 256.
  std::size_t Below(std::size_t bound) { return Byte() % bound; }

  /// As many bytes as the one in front of them says.
  std::string Text() { return Take(Byte()); }

  std::string Rest() { return Take(rest_.size()); }

 private:
  std::string Take(std::size_t count) {
    const std::string taken(rest_.substr(0, count));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
};

}  // namespace quenvar
