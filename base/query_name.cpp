#include "base/query_name.h"

#include <array>

namespace quenvar {

namespace {

/// Length bytes from here on are compression pointers or reserved (RFC 1035, section 4.1.4).
constexpr unsigned char kFirstPointer = 0xC0;
/// Room that spares most names a second allocation, also what is appended to them.
constexpr std::size_t kUsualName = 64;
constexpr std::string_view kReverseSuffix = "in-addr.arpa";

}  // namespace

std::string ParseQueryName(std::string_view message) {
  std::string name;
  name.reserve(kUsualName);
  std::size_t at = kHeaderBytes;
  for (;;) {
    if (at >= message.size()) return kUnreadableName;
    const auto length = static_cast<unsigned char>(message[at]);
    // A label length in the last byte of the message is not followed either: nothing can come after it.
    if (length >= kFirstPointer || length == 0 || at + 1 == message.size()) break;
    name.append(message.substr(at + 1, length)).append(1, '.');
    at += length + std::size_t{1};
  }
  if (message[at] != 0 || name.empty()) return kUnreadableName;
  name.pop_back();
  return name;
}

std::string DisplayName(const std::string& name) {
  if (!name.ends_with(kReverseSuffix)) return name;
  std::array<std::string_view, 4> parts;
  std::string_view rest = name;
  for (std::string_view& part : parts) {
    const std::size_t point = rest.find('.');
    if (point == std::string_view::npos) break;
    part = rest.substr(0, point);
    rest.remove_prefix(point + 1);
  }
  std::string address;
  for (std::size_t part = parts.size(); part-- > 0;) {
    address.append(parts[part]);
    if (part > 0) address.append(1, '.');
  }
  return address;
}

}  // namespace quenvar
