// What the program knows of itself. Set by its start (engine/program/startup.h).
#pragma once

#include <string>

#include "base/numbers.h"

namespace quenvar {

/// The program directory, ending with a separator: cache database, old server file and help file lie in it.
extern const std::string& AppPath;
/// major.minor.revision
extern const std::string& ProgramVersion;
/// The path of the help file.
extern const std::string& HelpFile;
/// The initialisation of the engine has come to its end.
extern const Boolean16& EngineReady;

void SetAppPath(const std::string& path);
void SetProgramVersion(const std::string& version);
void SetHelpFile(const std::string& path);
void SetEngineReady(Boolean16 ready);

}  // namespace quenvar
