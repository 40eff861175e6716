// The three orders that the user gives.
#pragma once

#include <sys/types.h>

#include <string>

namespace quenvar::resolver {

struct Options {
  bool dryRun = false;         ///< says the steps and does none
  bool yes = false;            ///< goes on where the user would be asked
  bool matchQuestion = false;  ///< may switch MATCHQUESTION on in a settings file that lacks it
  std::string name = "example.com";
  uid_t user = 0;  ///< who called; 0 when that is not known
};

/// Points this machine at Quenvar. Goes back by itself where it does not work. Throws Failure.
void SwitchOn(const Options& options);

/// Undoes what SwitchOn has done, also half of it. Does nothing where nothing was done. Throws Failure.
void SwitchOff(const Options& options);

/// Says what is so. True when the machine asks Quenvar and it answers.
bool ShowStatus(const Options& options);

}  // namespace quenvar::resolver
