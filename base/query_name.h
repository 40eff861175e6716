// The one thing that is read out of a DNS message: the name of its first question (RFC 1035, section 4.1.2).
#pragma once

#include <string>
#include <string_view>

namespace quenvar {

/// The length of a message's header; the name of its question stands behind it.
inline constexpr std::size_t kHeaderBytes = 12;

/// Stands for the name of a message whose question name cannot be read. It is used like a name.
inline constexpr const char* kUnreadableName = "Not a DNS-Struct!";

/// The labels of the first question joined by ".", in the message's spelling; kUnreadableName for a message that is
/// cut, has a compressed question name or asks for the root. Labels may be longer than 63 bytes and hold any byte.
std::string ParseQueryName(std::string_view message);

/// The form of a name shown in the log: a reverse look-up name as the address it stands for, any other name unchanged.
std::string DisplayName(const std::string& name);

}  // namespace quenvar
