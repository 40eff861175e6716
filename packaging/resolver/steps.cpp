#include "packaging/resolver/steps.h"

#include "packaging/resolver/say.h"

namespace quenvar {

namespace {

bool Save(const Record& record) {
  if (SaveRecord(record)) return true;
  Complain("/var/lib/quenvar cannot be written.");
  return false;
}

// Without the user there is nobody whose program or login could be concerned.
bool UndoFor(const std::optional<Account>& account, const Change& change) {
  if (!account && change.kind != Change::Kind::File) return true;
  return Undo(change, account.value_or(Account{}));
}

}  // namespace

bool DoAll(Record& record, const std::vector<Change>& changes, const Account& account, bool dryRun) {
  for (const Change& change : changes) {
    if (Interrupted()) return false;
    Say(change.saying);
    if (dryRun) continue;
    record.changes.push_back(change);
    if (!Save(record)) {
      record.changes.pop_back();
      return false;
    }
    if (!Do(change, account)) return false;
  }
  return !Interrupted();
}

bool TakeBack(Record& record) {
  const auto account = FindAccount(std::to_string(record.uid));
  record.complete = false;
  while (!record.changes.empty()) {
    Say("Take back: " + record.changes.back().saying);
    if (!UndoFor(account, record.changes.back())) return false;
    record.changes.pop_back();
    if (!Save(record)) return false;
  }
  if (RemoveRecord()) return true;
  Complain("/var/lib/quenvar cannot be removed.");
  return false;
}

}  // namespace quenvar
