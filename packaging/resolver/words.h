// The words of the command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quenvar {

struct Wishes {
  std::string verb;  ///< "on", "off" or "status"
  bool dryRun = false;
  bool yes = false;
  bool matchQuestion = false;
  std::string name = "example.com";  ///< what is looked up to see whether names are found
};

inline constexpr const char* kUsage =
    "usage: quenvar-resolver on|off|status [--dry-run] [--yes] [--match-question] [--name NAME]";

/// Empty when something is missing, unknown or not the name of a host.
std::optional<Wishes> ReadWords(const std::vector<std::string>& words);

}  // namespace quenvar
