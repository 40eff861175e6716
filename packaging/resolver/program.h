// Quenvar itself: started and ended as its user, now and with his sessions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "packaging/resolver/change.h"
#include "packaging/resolver/port.h"

namespace quenvar {

/// The user is logged in on a desktop whose session is one of systemd's.
bool HasGraphicalSession(const Account& account);

/// The holder is Quenvar as it is installed, running as this user.
bool IsOwnProgram(const PortHolder& holder, const Account& account);
bool IsRunning(const Account& account);

/// What is to be changed so that the program runs now and from every login on.
std::vector<Change> ProgramChanges(const Account& account);

bool DoLogin(const Change& change, const Account& account);
bool UndoLogin(const Change& change, const Account& account);
bool DoProgram(const Account& account);
bool UndoProgram(const Account& account);

/// Waits at most a minute until the program answers. False, after a line that says why, when it does not.
bool WaitForProgram(const Account& account, const std::string& name);

}  // namespace quenvar
