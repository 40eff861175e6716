// Text between the program, which keeps it as bytes, and the screen: the bytes are Windows-1252.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace quenvar {

/// Every byte becomes one character: codes that Windows-1252 leaves open become a small box.
QString ToScreen(std::string_view bytes);

/// The bytes of a text; characters that Windows-1252 does not have become "?".
std::string FromScreen(const QString& text);

}  // namespace quenvar
