// The start of the program. Read this first: it names, in their order, the things that the service is made of.
#pragma once

#include <string>

#include "base/numbers.h"

namespace quenvar {

/// The program directory, ending with a separator: cache database, old server file and help file lie in it.
extern std::string AppPath;
/// major.minor.revision
extern std::string ProgramVersion;
/// The path of the help file.
extern std::string HelpFile;
/// The initialisation of the engine has come to its end.
extern Boolean16 EngineReady;
/// The window was left hidden in the tray at start.
extern Boolean16 StartHidden;
/// Name servers, counters and options have been loaded.
extern bool SettingsRead;

/// The whole start, up to the shown or hidden window. Whatever ends the program in it, such as a second copy or a taken
/// port, ends the message loop (platform/event_loop.h).
void Startup();

/// Makes the engine ready and writes every name server to the log. 0, or the error number of the socket layer.
int InitialiseEngine();

/// Loads name servers, counters and options unless that was done before.
void ReadSettingsOnce();

}  // namespace quenvar
