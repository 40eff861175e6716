// The settings file of the user who runs Quenvar.
#pragma once

#include <string>
#include <vector>

#include "packaging/resolver/account.h"

namespace quenvar {

/// As the user, and only while Quenvar does not run: enters the name servers where the file has none, and switches
/// MATCHQUESTION on where `matchQuestion` says so. Says what it has written, or what the user has to do himself. With
/// `dryRun` it says what it would do. False, after a line that says why, when the file cannot be written.
bool PrepareSettings(const Account& account, const std::vector<std::string>& servers, bool matchQuestion, bool dryRun);

}  // namespace quenvar
