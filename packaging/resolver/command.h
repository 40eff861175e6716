// Commands of the system, run by absolute path and with a fixed environment.
#pragma once

#include <sys/types.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace quenvar::resolver {

/// What ends the work, in a sentence for the user.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Outcome {
  int status = -1;     ///< the exit status; -1 for a command that is missing, was killed, or took longer than a minute
  std::string output;  ///< standard output, at most 64 KiB

  bool Ok() const { return status == 0; }
};

/// `command` begins with an absolute path. Standard error goes nowhere. `variables` are the environment, beside PATH
/// and LC_ALL.
Outcome Run(const std::vector<std::string>& command, const std::vector<std::string>& variables = {});

/// Runs `work` in a process of its own that has given up all rights but those of `user`, with the groups, the home
/// directory and the umask of his. Returns what `work` returns, which is less than 100; 100 when it throws, after its
/// sentence went to standard error.
int AsUser(uid_t user, const std::function<int()>& work);

/// A line to standard output, at once.
void Say(const std::string& line);

}  // namespace quenvar::resolver
