#include "settings/address.h"

#include <algorithm>

#include "base/ipv4_text.h"
#include "engine/host/own_addresses.h"

namespace quenvar {

namespace {

constexpr std::size_t kLongestAddress = 15;

}  // namespace

std::string ValidateAddress(const std::string& text) {
  if (text.find_first_not_of("0123456789.") != std::string::npos) return "Invalid characters";
  if (text.size() > kLongestAddress || !ReadIpv4(text)) return "Format error";
  if (IsOwnAddress(text)) return "This is your own ip address!";
  return "";
}

bool IsSameAddress(std::string_view a, std::string_view b) {
  const std::optional<std::uint32_t> address = ReadIpv4(a);
  return address && address == ReadIpv4(b);
}

bool IsOwnAddress(const std::string& text) {
  const auto known = OwnAddresses.begin() + OwnAddressCount;
  return std::find(OwnAddresses.begin(), known, text) != known;
}

}  // namespace quenvar
