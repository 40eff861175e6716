// Whether the machine asks Quenvar, and names are found.
#pragma once

#include <string>

namespace quenvar {

/// The first name server in /etc/resolv.conf is 127.0.0.1.
bool NamesLocalFirst();

/// Waits some seconds for that. False, after a line that says so, when it does not come.
bool WaitUntilNamed();

/// Looks the name up twice as programs do. False, after a line that says why, unless the second answer comes within a
/// second.
bool LooksUpInTime(const std::string& name);

}  // namespace quenvar
