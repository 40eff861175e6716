// Any bytes as a message, and as a name: both are read as an independent reading step by step gives them.
#include <algorithm>
#include <stdexcept>
#include <vector>

#include "engine/query_name.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

namespace {

std::string ExpectedName(const std::string& message) try {
  std::string name;
  std::size_t at = 12;
  const auto length = [&] { return static_cast<unsigned char>(message.at(at)); };
  while (length() < 192 && length() != 0 && at < message.size() - 1) {
    name += message.substr(at + 1, length()) + ".";
    at += 1 + length();
  }
  if (length() != 0) return kUnreadableName;
  return name.erase(name.size() - 1, 1);
} catch (const std::out_of_range&) {
  return kUnreadableName;
}

// The pieces in front of the first four points, last one first.
std::string ExpectedReverse(const std::string& name) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0, end; (end = name.find('.', begin)) != std::string::npos; begin = end + 1)
    parts.push_back(name.substr(begin, end - begin));
  parts.resize(4);
  return parts[3] + "." + parts[2] + "." + parts[1] + "." + parts[0];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string bytes(data, size);
  const std::string name = ParseQueryName({data, size});
  Require(name == ExpectedName(bytes));
  for (const std::string& shown : {name, bytes})
    Require(DisplayName(shown) == (shown.ends_with("in-addr.arpa") ? ExpectedReverse(shown) : shown));
  Require(DisplayName(bytes + "in-addr.arpa") == ExpectedReverse(bytes + "in-addr.arpa"));
  return 0;
}
