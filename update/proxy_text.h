// The proxy that is set for the web, as a line such as "http=10.1.2.3:8080;ftp=10.1.2.3:21".
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quenvar {

/// The server that follows `key`, found without case, and one more character, up to the next colon. Empty when the key
/// is not there; nothing when no colon follows.
std::optional<std::string> GetProxyFromRegistryString(const std::string& setting, const std::string& key);

/// The number that follows the first colon after `key`; 0 when the key is not there, nothing when no colon follows or
/// the number does not fit. `setting` gets a fixed end appended.
std::optional<std::int32_t> GetProxyPortFromRegistryString(std::string& setting, const std::string& key);

}  // namespace quenvar
