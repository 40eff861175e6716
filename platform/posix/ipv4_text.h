#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenvar {

/// Reads four decimal numbers from 0 to 255 joined by points, leading zeros allowed; empty for any other text. The
/// result is in host byte order.
std::optional<std::uint32_t> ReadIpv4(std::string_view text);

/// The dotted decimal text of an address in host byte order.
std::string Ipv4Text(std::uint32_t address);

}  // namespace quenvar
