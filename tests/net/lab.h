// A small network inside of the test process: the whole program runs in it, with real sockets on port 53, and never
// meets the network of the machine. Everything lives in namespaces of this process and vanishes with it, however it
// ends.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace quenvar::lab {

/// How long a test waits for what must happen. Far more than it takes, for machines that are slow or busy.
inline constexpr std::chrono::milliseconds kPatience{20000};

/// Home holds the program and its clients, Upstream the name servers. The two are joined by a cable. Lonely has nothing
/// but a loopback interface, which is down.
enum class Place { Home, Upstream, Lonely };

inline constexpr const char* kHomeAddress = "10.53.0.100";
/// A host upstream that is in nobody's list of name servers.
inline constexpr const char* kStranger = "10.53.0.99";

/// The address of one of ten name servers, 1 to 10.
std::string ServerAt(int number);

/// Sockets opened and programs started while one of these lives belong to its place. Otherwise they belong to Home.
class Visit {
 public:
  explicit Visit(Place place);
  ~Visit();
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
};

/// A directory in memory that only this process and its children see. It holds the program under test as "quenvar".
inline constexpr const char* kDirectory = "/mnt";

/// Asks again and again until the condition holds; false when it does not within `limit`.
template <typename Condition>
bool Eventually(Condition condition, std::chrono::milliseconds limit = kPatience) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

/// A test that needs the network. It is skipped, with the reason, where the kernel refuses to make one.
class LabTest : public testing::Test {
 protected:
  void SetUp() override;
};

}  // namespace quenvar::lab
