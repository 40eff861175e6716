// Text between the program, which keeps it as bytes, and the screen.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace quenvar {

/// Characters in UTF-8 are shown as such, every other byte as the character of Windows-1252 that it stands for: a name
/// on the wire may be made of any bytes. What is no visible character becomes a small box.
QString ToScreen(std::string_view bytes);

/// The text in UTF-8.
std::string FromScreen(const QString& text);

}  // namespace quenvar
