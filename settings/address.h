// The rules by which typed text is accepted as the address of a name server.
#pragma once

#include <string>
#include <string_view>

namespace quenvar {

/// Empty when `text` can be the address of a name server, else what is wrong with it, to be shown to the user. More
/// than four parts, and empty parts, which count as 0, are accepted; that is intended.
std::string ValidateAddress(const std::string& text);

/// True when both texts stand for one address (base/ipv4_text.h), however they are written.
bool IsSameAddress(std::string_view a, std::string_view b);

/// True when the text is, character for character, one of this host's own addresses.
bool IsOwnAddress(const std::string& text);

}  // namespace quenvar
