// Any bytes as a message, and as a name: what is read fits into the message, and only the end of a reverse name makes
// it an address.
#include <vector>

#include "engine/query_name.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  // A copy with nothing behind it, so that reading too far is noticed.
  const std::vector<char> message(data, data + size);
  const std::string name = ParseQueryName({message.data(), size});
  Require(name == kUnreadableName || 12 + name.size() + 2 <= size);
  const std::string bytes(data, size);
  for (const std::string& shown : {name, bytes, bytes + "in-addr.arpa"})
    Require((DisplayName(shown) == shown) != shown.ends_with("in-addr.arpa"));
  return 0;
}
