#include "packaging/resolver/record.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "platform/posix/file_replacement.h"
#include "platform/posix/profile_text.h"

namespace quenvar {

namespace {

constexpr const char* kFolder = "/var/lib/quenvar";
constexpr const char* kFile = "/var/lib/quenvar/record";

std::string SectionName(std::size_t index) { return "CHANGE_" + std::to_string(index); }

bool MakeFolder() {
  if (mkdir(kFolder, 0700) != 0 && errno != EEXIST) return false;
  struct stat state {};
  if (lstat(kFolder, &state) != 0 || !S_ISDIR(state.st_mode) || state.st_uid != 0) return false;
  SyncDirectoryOf(kFolder);
  return chmod(kFolder, 0700) == 0;
}

std::string Joined(const std::vector<std::string>& folders) {
  std::string text;
  for (const std::string& folder : folders) text += folder + " ";
  return text;
}

void Write(ProfileText& text, const std::string& section, const Change& change) {
  text.Set(section, "KIND", std::to_string(static_cast<int>(change.kind)));
  text.Set(section, "SAYING", change.saying);
  text.Set(section, "PATH", change.path);
  text.Set(section, "BEFORE", Encode(change.before));
  text.Set(section, "AFTER", Encode(change.after));
  text.Set(section, "MADE_FOLDERS", Joined(change.madeFolders));
  text.Set(section, "VERB", change.verb);
  text.Set(section, "SERVICE", change.service);
}

std::optional<Change> Read(ProfileText& text, const std::string& section) {
  const auto value = [&](const char* key) { return text.Find(section, key).value_or(""); };
  const std::string kind = value("KIND");
  const auto before = Decode(value("BEFORE"));
  const auto after = Decode(value("AFTER"));
  if (kind.size() != 1 || kind[0] < '0' || kind[0] > '2' || !before || !after) return std::nullopt;
  Change change{static_cast<Change::Kind>(kind[0] - '0'), value("SAYING"), value("PATH"), *before, *after};
  std::istringstream folders(value("MADE_FOLDERS"));
  for (std::string folder; folders >> folder;) change.madeFolders.push_back(folder);
  change.verb = value("VERB");
  change.service = value("SERVICE");
  return change;
}

}  // namespace

bool IsRecorded() { return access(kFolder, F_OK) == 0; }

std::optional<Record> LoadRecord(bool& damaged) {
  damaged = access(kFile, F_OK) == 0;
  const auto content = ReadWholeFile(kFile);
  if (!content) return std::nullopt;
  ProfileText text(*content);
  Record record;
  const auto uid = text.Find("RECORD", "UID");
  const auto count = text.Find("RECORD", "CHANGES");
  if (!uid || !count) return std::nullopt;
  record.uid = static_cast<uid_t>(std::strtoul(uid->c_str(), nullptr, 10));
  record.complete = text.Find("RECORD", "COMPLETE") == "Yes";
  for (std::size_t index = 0; index < std::strtoul(count->c_str(), nullptr, 10); ++index) {
    auto change = Read(text, SectionName(index));
    if (!change) return std::nullopt;
    record.changes.push_back(std::move(*change));
  }
  damaged = false;
  return record;
}

bool SaveRecord(const Record& record) {
  ProfileText text("");
  text.Set("RECORD", "UID", std::to_string(record.uid));
  text.Set("RECORD", "COMPLETE", record.complete ? "Yes" : "No");
  text.Set("RECORD", "CHANGES", std::to_string(record.changes.size()));
  for (std::size_t index = 0; index < record.changes.size(); ++index)
    Write(text, SectionName(index), record.changes[index]);
  return MakeFolder() && ReplaceFile(kFile, text.Text());
}

bool RemoveRecord() {
  unlink((std::string(kFile) + ".new").c_str());
  if (unlink(kFile) != 0 && errno != ENOENT) return false;
  return rmdir(kFolder) == 0 || errno == ENOENT;
}

}  // namespace quenvar
