// Name servers at the distance of the internet.
#pragma once

#include <map>

#include "wire.h"

namespace quenvar::lab {

/// How long the servers take. A client that gets its answer much sooner has got it from the program's cache.
inline constexpr std::chrono::milliseconds kDistance{50};

/// While it lives, a thread of its own gives the true answer to every query that reaches the servers, late.
class DistantServers {
 public:
  /// With `cookies`, a client's cookie is returned together with the server's own (RFC 7873, section 5.2).
  DistantServers(const Servers& servers, bool cookies);
  /// Ends once no query has come for a while: how often each question was asked.
  std::map<std::string, int> End();

 private:
  void Serve(const std::stop_token& ended);

  const Servers& servers_;
  const bool cookies_;
  std::map<std::string, int> asked_;
  std::jthread thread_;
};

}  // namespace quenvar::lab
