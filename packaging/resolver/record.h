// What `on` has changed so far, in /var/lib/quenvar, so that `off` can take it back whenever `on` was ended.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "packaging/resolver/change.h"

namespace quenvar {

struct Record {
  uid_t uid = 0;          ///< the user who runs Quenvar
  bool complete = false;  ///< `on` has come to its end
  std::vector<Change> changes;
};

/// Something is recorded. This can be told without being root.
bool IsRecorded();

/// Empty when there is none, or it cannot be read. `damaged` tells which.
std::optional<Record> LoadRecord(bool& damaged);

/// On the disk when this returns true.
bool SaveRecord(const Record& record);

bool RemoveRecord();

}  // namespace quenvar
