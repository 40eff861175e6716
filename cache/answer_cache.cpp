#include "cache/answer_cache.h"

#include <algorithm>

#include "base/text.h"
#include "engine/event_log.h"
#include "engine/startup.h"
#include "platform/files.h"
#include "platform/message_box.h"
#include "platform/platform.h"
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

// A damaged file is never opened: what can be read of it is no answer to rely on.
RecordStore::Result RepairCompactAndOpen() {
  RecordStore& records = *platform.records;
  RecordStore::Result repaired = records.Repair(DatabasePath());
  if (repaired.Failed() && !repaired.surroundings) return repaired;
  records.Compact(DatabasePath(), AppPath + kWorkName);
  return records.Open(DatabasePath());
}

RecordStore::Result OpenNew() {
  platform.records->Close();
  platform.records->DeleteFile(DatabasePath());
  CreateCache();
  return platform.records->Open(DatabasePath());
}

}  // namespace

void OpenCache() {
  if (!DatabaseExists()) CreateCache();
  RecordStore::Result opened = RepairCompactAndOpen();
  // A full disk or another program's lock passes, and deleting the file would not help against it.
  if (opened.Failed() && !opened.surroundings) opened = OpenNew();
  if (!opened.Failed()) opened = platform.records->OpenTable();
  if (!opened.Failed()) return;
  platform.records->Close();
  WriteFailureToLog("Error opening Database!!" + std::to_string(opened.number) + ": " + opened.description);
}

void CreateCache() { platform.records->Create(DatabasePath()); }

void CloseCache() { platform.records->Close(); }

void DeleteWholeCache() {
  CloseCache();
  platform.records->DeleteFile(DatabasePath());
  OpenCache();
}

void ConfirmAndDeleteCache() {
  const BoxAnswer answer = platform.boxes->Show("Are you sure? All entries will be lost!", "Confirm", BoxIcon::Question,
                                                BoxButtons::OkCancel);
  if (answer == BoxAnswer::Ok) DeleteWholeCache();
}

}  // namespace quenvar
