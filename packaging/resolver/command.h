// Programs of the system, started by absolute path with a fixed environment.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "packaging/resolver/account.h"

namespace quenvar {

struct CommandResult {
  int status = -1;     ///< exit status; -1 when it could not be started, was killed, or took too long
  std::string output;  ///< of its standard output, at most 64 KiB

  bool Ok() const { return status == 0; }
};

/// Runs a program to its end, as the user where one is given. One that takes longer than `limit` is killed.
CommandResult Run(const std::vector<std::string>& command, const Account* account = nullptr,
                  std::chrono::milliseconds limit = std::chrono::seconds(60));

/// The first word of what the command prints, such as "active".
std::string WordFrom(const std::vector<std::string>& command, const Account* account = nullptr);

}  // namespace quenvar
