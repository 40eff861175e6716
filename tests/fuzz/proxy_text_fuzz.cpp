// Any text as the proxy setting of the user: host and port are pieces of it, and there is no port without a host.
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"
#include "update/proxy_text.h"

using namespace quenvar;

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  // Texts count only up to this position.
  constexpr std::size_t kLastPosition = 32767;
  const std::size_t blanks = input.Byte() == 255 ? kLastPosition - input.Byte() : 0;
  const std::string setting = std::string(blanks, ' ') + input.Rest();
  std::string changed = setting;
  const auto host = GetProxyFromRegistryString(setting, "http");
  const auto port = GetProxyPortFromRegistryString(changed, "http");
  Require(!host || setting.find(*host) != std::string::npos);
  Require(!port || (host && *port >= 0));
  Require(changed.starts_with(setting));
  return 0;
}
