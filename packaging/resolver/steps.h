// Doing a list of changes and taking it back, with a record on the disk at every moment.
#pragma once

#include <vector>

#include "packaging/resolver/record.h"

namespace quenvar {

/// Says, records and does each change. False when one has failed or an interruption has come. With `dryRun` they are
/// only said.
bool DoAll(Record& record, const std::vector<Change>& changes, const Account& account, bool dryRun);

/// Takes all changes back, the last one first, and removes the record. False when one cannot be taken back; it and
/// those before it then stay recorded.
bool TakeBack(Record& record);

}  // namespace quenvar
