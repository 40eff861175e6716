#include "update/proxy_text.h"

#include <charconv>

#include "base/text.h"

namespace quenvar {

namespace {

// The greatest position, counted from 1, at which a colon is still found.
constexpr std::size_t kLastPosition = 32767;

struct Place {
  std::size_t begin;  ///< of what follows the key and one more character
  std::size_t colon;
};

std::size_t FindKey(const std::string& setting, const std::string& key) {
  return UpperCase(setting).find(UpperCase(key));
}

std::optional<Place> FindServer(const std::string& setting, const std::string& key) {
  const std::size_t begin = FindKey(setting, key) + key.size() + 1;
  const std::size_t colon = setting.find(':', begin);
  if (colon >= kLastPosition) return std::nullopt;
  return Place{begin, colon};
}

}  // namespace

std::optional<std::string> GetProxyFromRegistryString(const std::string& setting, const std::string& key) {
  if (FindKey(setting, key) == std::string::npos) return "";
  const auto place = FindServer(setting, key);
  if (!place) return std::nullopt;
  return setting.substr(place->begin, place->colon - place->begin);
}

std::optional<std::int32_t> GetProxyPortFromRegistryString(std::string& setting, const std::string& key) {
  if (FindKey(setting, key) == std::string::npos) return 0;
  const auto place = FindServer(setting, key);
  if (!place) return std::nullopt;
  setting += ";nblfdaksjfkljkflsd";
  const std::string_view rest = Trim(std::string_view(setting).substr(place->colon + 1));
  const bool numeric = !rest.empty() && rest[0] >= '0' && rest[0] <= '9';
  std::int32_t port = 0;
  if (numeric && std::from_chars(rest.data(), rest.data() + rest.size(), port).ec != std::errc()) return std::nullopt;
  return port;
}

}  // namespace quenvar
