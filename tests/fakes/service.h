// The service in a test.
#pragma once

#include <gtest/gtest.h>

#include "tests/fakes/fake_service.h"

namespace quenvar {

class Service : public testing::Test, public FakeService {};

inline void PrintTo(const SentDatagram& datagram, std::ostream* out) {
  *out << datagram.address << ":" << datagram.port << " " << testing::PrintToString(datagram.message);
}

}  // namespace quenvar
