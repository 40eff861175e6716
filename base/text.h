// Text as bytes: names, messages and cache values are std::string with one character for each byte. What the user types
// is UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace quenvar {

/// Upper case of the letters a to z, all other bytes unchanged, which is the case rule of domain names (RFC 4343,
/// section 3). Used for every key, name and comparison without case.
std::string UpperCase(std::string_view text);

/// True when both texts have the same upper-cased form.
bool EqualWithoutCase(std::string_view a, std::string_view b);

/// The text without the blanks around it.
std::string_view Trim(std::string_view text);

/// The size in bytes of the character in UTF-8 (RFC 3629) that `text` begins with; 0 where it begins with none.
std::size_t Utf8CharacterSize(std::string_view text);

/// The character that a byte stands for in Windows-1252. Codes that it leaves open are control characters.
char16_t FromWindows1252(char byte);

/// `text` as it is where all of it is UTF-8; else each byte is read as Windows-1252.
std::string ToUtf8(std::string_view text);

/// The first characters of a text in UTF-8, at most `count`.
std::string_view FirstCharacters(std::string_view utf8, std::size_t count);

}  // namespace quenvar
