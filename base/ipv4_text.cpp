#include "base/ipv4_text.h"

#include <algorithm>
#include <charconv>

namespace quenvar {

namespace {

constexpr int kParts = 4;
constexpr std::uint32_t kAnyHost = 0;
constexpr std::uint32_t kEveryHost = 0xFFFFFFFF;

}  // namespace

std::optional<std::uint32_t> ReadIpv4(std::string_view text) {
  if (text.find_first_not_of("0123456789.") != std::string_view::npos) return std::nullopt;
  std::uint32_t address = 0;
  for (int part = 0; part < kParts; ++part) {
    const std::size_t point = text.find('.');
    if (point == std::string_view::npos && part + 1 < kParts) return std::nullopt;
    const std::string_view digits = text.substr(0, point);
    std::uint8_t value = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), value).ec == std::errc::result_out_of_range)
      return std::nullopt;
    address = address << 8 | value;
    text.remove_prefix(std::min(digits.size() + 1, text.size()));
  }
  return address;
}

std::optional<std::uint32_t> ReadHostAddress(std::string_view text) {
  const std::optional<std::uint32_t> address = ReadIpv4(text);
  return address == kAnyHost || address == kEveryHost ? std::nullopt : address;
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
