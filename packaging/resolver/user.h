// What belongs to the user whose Quenvar serves the machine: his settings, and his copy of the program. All of it is
// done with his rights alone (AsUser in command.h), except where the comment says otherwise.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quenvar::resolver {

/// Of these texts, those that Quenvar takes as name servers, in order and each once; at most ten.
std::vector<std::string> UsableServers(const std::vector<std::string>& texts);

/// Makes the user's settings file where there is none, writes `servers` into it where it has no address and his program
/// does not run, and says what it did. With `matchQuestion`, it switches the option MATCHQUESTION on too. The rest is
/// said to the user: what he has to type or to switch on himself.
int PrepareSettings(const std::vector<std::string>& servers, bool matchQuestion);

/// Whether systemd looks after a graphical session of the user. Called with all rights.
bool HasSession(uid_t user);

/// A command to the user's own service manager. Called with all rights; true when it succeeds.
bool UserManager(uid_t user, const std::vector<std::string>& words);

/// Switches the start at login on and off, where the desktop's session is not one of systemd's. False when the file was
/// there already, and so is the user's own affair.
bool AddAutostart();
void RemoveAutostart();

}  // namespace quenvar::resolver
