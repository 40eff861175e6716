// The start of the program. Read this first: it names, in their order, the things that the service is made of.
#pragma once

#include "base/numbers.h"

namespace quenvar {

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
