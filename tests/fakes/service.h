// The service in a test.
#pragma once

#include <gtest/gtest.h>

#include "tests/fakes/fake_service.h"

namespace quenvar {

class Service : public testing::Test, public FakeService {};

inline void PrintTo(const SentDatagram& datagram, std::ostream* out) {
  *out << datagram.address << ":" << datagram.port << " " << testing::PrintToString(datagram.message);
}

/// A query or answer for a name: a header with the identifier, one question of type A (RFC 1035, section 4.1).
inline std::string Message(const std::string& name, char identifier = 1) {
  std::string message = std::string(1, identifier) + std::string(11, '\0');
  std::string_view rest = name;
  while (!rest.empty()) {
    const std::string_view label = rest.substr(0, rest.find('.'));
    message.append(1, static_cast<char>(label.size())).append(label);
    rest.remove_prefix(std::min(rest.size(), label.size() + 1));
  }
  return message + std::string("\0\0\1\0\1", 5);
}

}  // namespace quenvar
