#include "base/text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace quenvar {

namespace {

char UpperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// A quick no for most unequal texts of equal size, eight bytes at a time: upper and lower case of a letter differ in
// one bit. Every query is compared with all requests that wait.
bool DifferInMoreThanCase(const char* a, const char* b, std::size_t size) {
  constexpr std::uint64_t kAllButCase = ~std::uint64_t{0x2020202020202020};
  for (std::size_t at = 0; at + sizeof(std::uint64_t) <= size; at += sizeof(std::uint64_t)) {
    std::uint64_t left;
    std::uint64_t right;
    std::memcpy(&left, a + at, sizeof left);
    std::memcpy(&right, b + at, sizeof right);
    if (((left ^ right) & kAllButCase) != 0) return true;
  }
  return false;
}

}  // namespace

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = UpperCase(c);
  return upper;
}

bool EqualWithoutCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size() || DifferInMoreThanCase(a.data(), b.data(), a.size())) return false;
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char left, char right) { return UpperCase(left) == UpperCase(right); });
}

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace quenvar
