#include "base/program.h"

namespace quenvar {

namespace {

std::string appPath;
std::string programVersion;
std::string helpFile;
Boolean16 engineReady = kFalse;

}  // namespace

const std::string& AppPath = appPath;
const std::string& ProgramVersion = programVersion;
const std::string& HelpFile = helpFile;
const Boolean16& EngineReady = engineReady;

void SetAppPath(const std::string& path) { appPath = path; }
void SetProgramVersion(const std::string& version) { programVersion = version; }
void SetHelpFile(const std::string& path) { helpFile = path; }
void SetEngineReady(Boolean16 ready) { engineReady = ready; }

}  // namespace quenvar
