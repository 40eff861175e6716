// Text as bytes: names, messages and cache values are std::string with one character for each byte.
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

}  // namespace quenvar
