#include "packaging/resolver/checks.h"

#include <unistd.h>

#include "packaging/resolver/command.h"
#include "packaging/resolver/resolv_conf.h"
#include "packaging/resolver/say.h"
#include "packaging/resolver/writers.h"

namespace quenvar {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRewriteSteps = 100;
constexpr std::chrono::seconds kLongestLookUp{1};

}  // namespace

bool NamesLocalFirst() {
  const auto servers = NameServers(ResolvConfText());
  return !servers.empty() && servers[0] == "127.0.0.1";
}

bool WaitUntilNamed() {
  for (int step = 0; step < kRewriteSteps; ++step) {
    if (NamesLocalFirst()) return true;
    usleep(100'000);
  }
  Complain(std::string(kResolvConf) + " does not name 127.0.0.1 first.");
  return false;
}

// The first look-up fills the cache, the second one has to come from it.
bool LooksUpInTime(const std::string& name) {
  const std::vector<std::string> lookUp{"/usr/bin/getent", "ahosts", name};
  Run(lookUp);
  const Clock::time_point begin = Clock::now();
  const bool found = Run(lookUp).Ok();
  const auto took = Clock::now() - begin;
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
  if (found && took <= kLongestLookUp) {
    Say(name + " is found in " + std::to_string(milliseconds) + " ms.");
    return true;
  }
  Complain(name + (found ? " takes " + std::to_string(milliseconds) + " ms to be found." : " is not found."));
  return false;
}

}  // namespace quenvar
