#include "cache/answer_cache.h"

#include <algorithm>

#include "base/program.h"
#include "base/text.h"
#include "engine/log/event_log.h"
#include "platform/files.h"
#include "platform/message_box.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/record_store.h"

namespace quenvar {

namespace {

constexpr const char* kDatabaseName = "DNSCACHE.MDB";
constexpr const char* kWorkName = "TEMP.MDB";

std::string DatabasePath() { return AppPath + kDatabaseName; }

bool DatabaseExists() {
  const std::vector<std::string> names = platform.files->List(AppPath);
  return std::any_of(names.begin(), names.end(),
                     [](const std::string& name) { return EqualWithoutCase(name, kDatabaseName); });
}

std::string WorkPath() { return AppPath + kWorkName; }

// What is wrong with another program's lock, for example, is not the file.
bool IsDamaged(const RecordStore::Result& checked) { return checked.Failed() && !checked.surroundings; }

RecordStore::Result Repair() {
  std::size_t saved = 0;
  RecordStore::Result repaired = platform.records->Repair(DatabasePath(), WorkPath(), [&saved] {
    const std::optional<std::size_t> kept = CacheKeepWholeAnswers();
    saved = kept.value_or(0);
    return kept.has_value();
  });
  if (!repaired.Failed())
    platform.process->Report("The answer cache was damaged: " + std::to_string(saved) + " names were saved.");
  return repaired;
}

// A damaged file is never opened: what can be read of it is no answer to rely on.
RecordStore::Result RepairCompactAndOpen(const RecordStore::FindKeys& findUseless) {
  RecordStore& records = *platform.records;
  if (IsDamaged(records.Check(DatabasePath()))) {
    if (RecordStore::Result repaired = Repair(); repaired.Failed()) return repaired;
  }
  records.Compact(DatabasePath(), WorkPath(), findUseless);
  return records.Open(DatabasePath());
}

RecordStore::Result OpenNew() {
  platform.records->Close();
  platform.records->DeleteFile(DatabasePath());
  CreateCache();
  return platform.records->Open(DatabasePath());
}

void GoOnWithout(const RecordStore::Result& failure) {
  CloseCache();
  WriteFailureToLog("Error opening Database!!" + std::to_string(failure.number) + ": " + failure.description);
}

}  // namespace

void OpenCache(const RecordStore::FindKeys& findUseless) {
  if (!DatabaseExists()) CreateCache();
  RecordStore::Result opened = RepairCompactAndOpen(findUseless);
  // A full disk or another program's lock passes, and deleting the file would not help against it.
  if (IsDamaged(opened)) opened = OpenNew();
  if (!opened.Failed()) opened = platform.records->OpenTable();
  if (opened.Failed()) GoOnWithout(opened);
}

void CreateCache() { platform.records->Create(DatabasePath()); }

void CloseCache() { platform.records->Close(); }

// The file goes before anything else, so that the program's end in between leaves none of its entries.
void DeleteWholeCache() {
  const RecordStore::Result deleted = platform.records->DeleteFile(DatabasePath());
  CloseCache();
  // Opened, a file that is still there would give the old answers.
  if (deleted.Failed()) return GoOnWithout(deleted);
  OpenCache();
}

void ConfirmAndDeleteCache() {
  const BoxAnswer answer = platform.boxes->Show("Are you sure? All entries will be lost!", "Confirm", BoxIcon::Question,
                                                BoxButtons::OkCancel);
  if (answer == BoxAnswer::Ok) DeleteWholeCache();
}

}  // namespace quenvar
