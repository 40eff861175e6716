#include "platform/qt/screen_text.h"

#include "base/text.h"

namespace quenvar {

namespace {

constexpr char32_t kBox = 0x25AF;

bool IsBetween(char32_t character, char32_t first, char32_t last) { return character >= first && character <= last; }

// Control characters, line separators and those that turn the direction of writing could pass a line off as another.
bool MayBeShown(char32_t character) {
  if (character == '\r' || character == '\n' || character == '\t') return true;
  return !IsBetween(character, 0, 0x1F) && !IsBetween(character, 0x7F, 0x9F) && !IsBetween(character, 0x2028, 0x202E) &&
         !IsBetween(character, 0x2066, 0x2069);
}

}  // namespace

QString ToScreen(std::string_view bytes) {
  QString text;
  text.reserve(static_cast<qsizetype>(bytes.size()));
  while (!bytes.empty()) {
    const std::size_t size = Utf8CharacterSize(bytes);
    if (size > 1)
      text += QString::fromUtf8(bytes.data(), static_cast<qsizetype>(size));
    else
      text += QChar(FromWindows1252(bytes[0]));
    bytes.remove_prefix(std::max<std::size_t>(size, 1));
    const QChar last = text.back();
    if (!last.isLowSurrogate() && !MayBeShown(last.unicode())) text.back() = QChar(kBox);
  }
  return text;
}

std::string FromScreen(const QString& text) { return text.toStdString(); }

}  // namespace quenvar
