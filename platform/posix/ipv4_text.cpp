#include "platform/posix/ipv4_text.h"

#include <charconv>

namespace quenvar {

std::optional<std::uint32_t> ReadIpv4(std::string_view text) {
  std::uint32_t address = 0;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (int part = 0; part < 4; ++part) {
    if (part > 0 && (at == end || *at++ != '.')) return std::nullopt;
    std::uint8_t value = 0;
    const auto read = std::from_chars(at, end, value);
    if (read.ec != std::errc()) return std::nullopt;
    address = address << 8 | value;
    at = read.ptr;
  }
  return at == end ? std::optional(address) : std::nullopt;
}

std::string Ipv4Text(std::uint32_t address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    char part[3];
    text.append(part, std::to_chars(part, part + sizeof part, address >> shift & 0xFF).ptr);
    if (shift > 0) text += '.';
  }
  return text;
}

}  // namespace quenvar
