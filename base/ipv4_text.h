// IPv4 addresses as text: the one reader and the one writer of the whole program.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenvar {

/// Reads four decimal numbers from 0 to 255 joined by points. Leading zeros are allowed, an empty part is 0, and what
/// follows the point behind the fourth part is ignored as long as it is made of digits and points. Empty for any other
/// text. The result is in host byte order.
std::optional<std::uint32_t> ReadIpv4(std::string_view text);

/// The same for the address of a host that something can be sent to: empty for 0.0.0.0 and 255.255.255.255 too, which
/// are nobody's address.
std::optional<std::uint32_t> ReadHostAddress(std::string_view text);

/// The dotted decimal text of an address in host byte order.
std::string Ipv4Text(std::uint32_t address);

}  // namespace quenvar
