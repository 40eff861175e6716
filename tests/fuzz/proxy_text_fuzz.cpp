// Any text as the proxy setting of the user: host and port are what stands around the first colon behind the key.
#include <cctype>
#include <cstdlib>

#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"
#include "update/proxy_text.h"

using namespace quenvar;

namespace {

constexpr std::size_t kLastPosition = 32767;

std::size_t FindWithoutCase(const std::string& text, const std::string& key) {
  const auto same = [](unsigned char a, unsigned char b) { return std::toupper(a) == std::toupper(b); };
  const auto found = std::search(text.begin(), text.end(), key.begin(), key.end(), same);
  return found == text.end() ? std::string::npos : static_cast<std::size_t>(found - text.begin());
}

void CheckPort(const std::string& setting, std::size_t colon, std::optional<std::int32_t> port) {
  const std::size_t digit = setting.find_first_not_of(' ', colon + 1);
  const bool numeric = digit != std::string::npos && std::isdigit(static_cast<unsigned char>(setting[digit])) != 0;
  const long long number = numeric ? std::strtoll(setting.c_str() + digit, nullptr, 10) : 0;
  Require(port ? *port == number : number > INT32_MAX);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  const std::size_t blanks = input.Byte() == 255 ? kLastPosition - input.Byte() : 0;
  const std::string setting = std::string(blanks, ' ') + input.Rest();
  std::string changed = setting;
  const auto host = GetProxyFromRegistryString(setting, "http");
  const auto port = GetProxyPortFromRegistryString(changed, "http");
  const std::size_t key = FindWithoutCase(setting, "http");
  if (key == std::string::npos) {
    Require(host == "" && port == 0 && changed == setting);
    return 0;
  }
  const std::size_t begin = key + 5;
  const std::size_t colon = setting.find(':', begin);
  if (colon == std::string::npos || colon + 1 > kLastPosition) {
    Require(!host && !port && changed == setting);
    return 0;
  }
  Require(host == setting.substr(begin, colon - begin) && changed == setting + ";nblfdaksjfkljkflsd");
  CheckPort(setting, colon, port);
  return 0;
}
