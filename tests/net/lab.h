// A small network inside of the test process: the whole program runs in it, with real sockets on port 53, and never
// meets the network of the machine. Everything lives in namespaces of this process and vanishes with it, however it
// ends. Where the kernel refuses to make one, all tests are skipped with the reason.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

namespace quenvar::lab {

/// How long a test waits for what must happen. Far more than it takes, for machines that are slow or busy.
inline constexpr std::chrono::milliseconds kPatience{20000};
inline constexpr std::chrono::milliseconds kNow{0};

/// Home holds the program and its clients, Upstream the name servers. The two are joined by a cable. Lonely has nothing
/// but a loopback interface, which is down.
enum class Place { Home, Upstream, Lonely };

/// Sockets opened and programs started from now on belong to this place.
void Enter(Place place);

/// The address of one of ten name servers, 1 to 10.
std::string ServerAt(int number);
/// The address of a host upstream that is in nobody's list of name servers.
inline const std::string kStranger = "10.53.0.99";

/// A directory in memory that only this process and its children see. It holds the program under test as "quenvar".
inline const std::filesystem::path kDirectory = "/mnt";

/// Throws with the reason of the operating system when something is not done.
void Require(bool done, const std::string& what);

/// The content of a file; empty when it cannot be read.
std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& content);

/// What a command of the shell writes to standard output; empty when it fails.
std::string Output(const std::string& command);

/// Asks again and again until the condition holds; false when it does not within kPatience.
template <typename Condition>
bool Eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace quenvar::lab
