#include "platform/qt/screen_text.h"

#include <algorithm>
#include <array>

namespace quenvar {

namespace {

// Codes 0x80 to 0x9F; the other codes of Windows-1252 are those of Unicode.
constexpr std::array<char16_t, 32> kHighControls = {0x20AC, 0x25AF, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x25AF, 0x017D, 0x25AF,
                                                    0x25AF, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x25AF, 0x017E, 0x0178};
constexpr unsigned kFirstHighControl = 0x80;
constexpr char16_t kBox = 0x25AF;

char16_t ToUnicode(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  if (code == '\r' || code == '\n' || code == '\t') return code;
  if (code < ' ' || code == 0x7F) return kBox;
  const unsigned index = code - kFirstHighControl;
  return index < kHighControls.size() ? kHighControls[index] : code;
}

char FromUnicode(char16_t character) {
  const auto found = std::find(kHighControls.begin(), kHighControls.end(), character);
  if (found != kHighControls.end() && character != kBox)
    return static_cast<char>(kFirstHighControl + static_cast<unsigned>(found - kHighControls.begin()));
  const bool same = character < kFirstHighControl || (character >= 0xA0 && character <= 0xFF);
  return same ? static_cast<char>(character) : '?';
}

}  // namespace

QString ToScreen(std::string_view bytes) {
  QString text(static_cast<qsizetype>(bytes.size()), Qt::Uninitialized);
  std::transform(bytes.begin(), bytes.end(), text.begin(), [](char byte) { return QChar(ToUnicode(byte)); });
  return text;
}

std::string FromScreen(const QString& text) {
  std::string bytes(static_cast<std::size_t>(text.size()), '\0');
  std::transform(text.begin(), text.end(), bytes.begin(),
                 [](QChar character) { return FromUnicode(character.unicode()); });
  return bytes;
}

}  // namespace quenvar
