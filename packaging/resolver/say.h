// What the command tells its caller, and how it is told to stop.
#pragma once

#include <string>

namespace quenvar {

/// One line on standard output, at once: each step is announced before it is done.
void Say(const std::string& line);

/// One line on standard error.
void Complain(const std::string& line);

/// SIGINT, SIGTERM and SIGHUP are noted from now on and end nothing.
void NoteInterruptions();

/// One of these signals has come.
bool Interrupted();

/// Asks on the terminal. False without one.
bool AskWhetherToGoOn();

}  // namespace quenvar
