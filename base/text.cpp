#include "base/text.h"

#include <algorithm>
#include <array>
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

// Codes 0x80 to 0x9F; the other codes of Windows-1252 are those of Unicode.
constexpr unsigned kFirstHighControl = 0x80;
constexpr std::array<char16_t, 32> kHighControls = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

unsigned Code(char byte) { return static_cast<unsigned char>(byte); }

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t size = Utf8CharacterSize(text);
    if (size == 0) return false;
    text.remove_prefix(size);
  }
  return true;
}

// Of a character below 0x10000.
void AppendUtf8(std::string& text, char16_t character) {
  const auto add = [&](unsigned byte) { text += static_cast<char>(byte); };
  const unsigned code = character;
  if (code < 0x80) return add(code);
  if (code < 0x800) {
    add(0xC0 | code >> 6);
  } else {
    add(0xE0 | code >> 12);
    add(0x80 | (code >> 6 & 0x3F));
  }
  add(0x80 | (code & 0x3F));
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

std::size_t Utf8CharacterSize(std::string_view text) {
  if (text.empty()) return 0;
  const unsigned first = Code(text[0]);
  if (first < 0x80) return 1;
  const std::size_t size = first >= 0xC2 && first < 0xE0 ? 2 : first >= 0xE0 && first < 0xF0 ? 3 : 4;
  if (first < 0xC2 || first > 0xF4 || text.size() < size) return 0;
  // The second byte excludes longer forms than needed, surrogates, and what lies beyond the last character.
  const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (Code(text[1]) < low || Code(text[1]) > high) return 0;
  for (const char byte : text.substr(2, size - 2))
    if ((Code(byte) & 0xC0) != 0x80) return 0;
  return size;
}

char16_t FromWindows1252(char byte) {
  const unsigned code = Code(byte);
  const unsigned index = code - kFirstHighControl;
  return index < kHighControls.size() ? kHighControls[index] : static_cast<char16_t>(code);
}

std::string ToUtf8(std::string_view text) {
  if (IsUtf8(text)) return std::string(text);
  std::string utf8;
  for (const char byte : text) AppendUtf8(utf8, FromWindows1252(byte));
  return utf8;
}

std::string_view FirstCharacters(std::string_view utf8, std::size_t count) {
  std::size_t end = 0;
  for (; count > 0 && end < utf8.size(); --count) end += std::max<std::size_t>(Utf8CharacterSize(utf8.substr(end)), 1);
  return utf8.substr(0, end);
}

}  // namespace quenvar
