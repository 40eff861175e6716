#include "settings/address.h"

#include <algorithm>

#include "base/numbers.h"
#include "engine/own_addresses.h"

namespace quenvar {

namespace {

constexpr std::size_t kLongestAddress = 15;
constexpr int kParts = 4;
constexpr double kLargestPart = 255;

// Whether four parts, each 0 to 255, stand in front of the first four points of `text`. What follows is not looked at.
bool HasFourParts(std::string text) {
  for (int part = 0; part < kParts; ++part) {
    const std::size_t point = text.find('.');
    if (point == std::string::npos || ReadNumber(text.substr(0, point)) > kLargestPart) return false;
    text.erase(0, point + 1);
  }
  return true;
}

// Where the number that begins at `at` begins without the zeros in front.
std::size_t SkipZeros(std::string_view address, std::size_t at) {
  while (at + 1 < address.size() && address[at] == '0' && address[at + 1] != '.') ++at;
  return at;
}

}  // namespace

std::string ValidateAddress(const std::string& text) {
  if (text.find_first_not_of("0123456789.") != std::string::npos) return "Invalid characters";
  if (text.size() > kLongestAddress || !HasFourParts(text + ".")) return "Format error";
  if (IsOwnAddress(text)) return "This is your own ip address!";
  return "";
}

bool IsSameAddress(std::string_view a, std::string_view b) {
  std::size_t atA = SkipZeros(a, 0);
  std::size_t atB = SkipZeros(b, 0);
  while (atA < a.size() && atB < b.size() && a[atA] == b[atB]) {
    const bool numberEnds = a[atA] == '.';
    atA = numberEnds ? SkipZeros(a, atA + 1) : atA + 1;
    atB = numberEnds ? SkipZeros(b, atB + 1) : atB + 1;
  }
  return atA == a.size() && atB == b.size();
}

bool IsOwnAddress(const std::string& text) {
  const auto known = OwnAddresses.begin() + OwnAddressCount;
  return std::find(OwnAddresses.begin(), known, text) != known;
}

}  // namespace quenvar
