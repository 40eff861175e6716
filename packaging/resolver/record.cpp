#include "packaging/resolver/record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>

#include "packaging/resolver/command.h"
#include "platform/posix/file_replacement.h"
#include "platform/posix/profile_text.h"

namespace quenvar::resolver {

namespace fs = std::filesystem;

namespace {

const std::string kRecord = std::string(kRecordFolder) + "/resolver.record";
const std::string kContent = std::string(kRecordFolder) + "/resolv.conf.before";
const std::string kWritten = std::string(kRecordFolder) + "/resolv.conf.written";
const std::string kSection = "RESOLVER";

void MakeRecordFolder() {
  if (mkdir(kRecordFolder, 0700) != 0 && errno != EEXIST)
    throw Failure(std::string(kRecordFolder) + " cannot be made.");
  struct stat state {};
  if (lstat(kRecordFolder, &state) != 0 || !S_ISDIR(state.st_mode) || state.st_uid != 0)
    throw Failure(std::string(kRecordFolder) + " is no directory of root.");
  chmod(kRecordFolder, 0700);
  SyncDirectoryOf(kRecordFolder);
}

void WriteSafely(const std::string& path, const std::string& content) {
  if (!ReplaceFile(path, content)) throw Failure(path + " cannot be written.");
}

// Brings what stands under `made` to the place of /etc/resolv.conf.
void Place(const std::string& made) {
  if (rename(made.c_str(), kResolvConf) != 0) {
    unlink(made.c_str());
    throw Failure(std::string(kResolvConf) + " cannot be replaced; in a container it often belongs to the host.");
  }
  SyncDirectoryOf(kResolvConf);
}

const std::string kMade = std::string(kResolvConf) + ".quenvar";

}  // namespace

bool HasRecord() { return access(kRecord.c_str(), F_OK) == 0; }

std::string LinkTarget(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::read_symlink(path, error);
  return error ? "" : target.string();
}

void BeginRecord(const std::string& writer) {
  if (HasRecord()) return;
  MakeRecordFolder();
  struct stat state {};
  if (lstat(kResolvConf, &state) != 0) throw Failure(std::string(kResolvConf) + " is missing.");
  ProfileText record("");
  record.Set(kSection, "WRITER", writer);
  record.Set(kSection, "TARGET", LinkTarget(kResolvConf));
  record.Set(kSection, "MODE", std::to_string(state.st_mode & 07777));
  record.Set(kSection, "OWNER", std::to_string(state.st_uid));
  record.Set(kSection, "GROUP", std::to_string(state.st_gid));
  if (S_ISREG(state.st_mode)) WriteSafely(kContent, ReadWholeFile(kResolvConf).value_or(""));
  WriteSafely(kRecord, record.Text());
}

std::string Noted(const std::string& key) {
  ProfileText record(ReadWholeFile(kRecord).value_or(""));
  return record.Find(kSection, key).value_or("");
}

void Note(const std::string& key, const std::string& value) {
  ProfileText record(ReadWholeFile(kRecord).value_or(""));
  record.Set(kSection, key, value);
  WriteSafely(kRecord, record.Text());
}

std::string WrittenContent() { return ReadWholeFile(kWritten).value_or(""); }
void NoteWritten(const std::string& content) { WriteSafely(kWritten, content); }

std::string RecordedContent() { return ReadWholeFile(kContent).value_or(""); }

void LinkResolvConf(const std::string& target) {
  unlink(kMade.c_str());
  if (symlink(target.c_str(), kMade.c_str()) != 0) throw Failure(kMade + " cannot be made.");
  Place(kMade);
}

void WriteResolvConf(const std::string& content) {
  unlink(kMade.c_str());
  const int file = WriteNewFile(kMade, content) ? open(kMade.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW) : -1;
  const std::string mode = Noted("MODE");
  const bool ready = file != -1 &&
                     fchown(file, static_cast<uid_t>(std::atol(Noted("OWNER").c_str())),
                            static_cast<gid_t>(std::atol(Noted("GROUP").c_str()))) == 0 &&
                     fchmod(file, Noted("TARGET").empty() ? static_cast<mode_t>(std::atol(mode.c_str())) : 0644) == 0 &&
                     fsync(file) == 0;
  if (file != -1) close(file);
  if (!ready) throw Failure(kMade + " cannot be written.");
  Place(kMade);
}

void RestoreResolvConf() {
  const std::string target = Noted("TARGET");
  target.empty() ? WriteResolvConf(RecordedContent()) : LinkResolvConf(target);
}

void WriteOwnFile(const std::string& path, const std::string& content) {
  const fs::path folder = fs::path(path).parent_path();
  if (!fs::exists(folder)) Note("FOLDER", folder);
  if (Noted("OWN").find(path) == std::string::npos) Note("OWN", Noted("OWN") + " " + path);
  fs::create_directories(folder);
  WriteSafely(path, content);
  if (chmod(path.c_str(), 0644) != 0) throw Failure(path + " cannot be made readable.");
}

void RemoveOwnFile(const std::string& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
  SyncDirectoryOf(path);
  // A folder that came with the file goes with it, once it is empty.
  if (const fs::path folder = fs::path(path).parent_path(); Noted("FOLDER") == folder) fs::remove(folder, ignored);
}

namespace {

// A kill may have left a file half made beside its place.
void RemoveLeftovers() {
  unlink(kMade.c_str());
  std::istringstream own(Noted("OWN"));
  for (std::string path; own >> path;) {
    unlink((path + ".new").c_str());
    RemoveOwnFile(path);
  }
}

}  // namespace

void EndRecord() {
  RemoveLeftovers();
  unlink(kRecord.c_str());
  SyncDirectoryOf(kRecord);
  unlink(kContent.c_str());
  unlink(kWritten.c_str());
  rmdir(kRecordFolder);
}

}  // namespace quenvar::resolver
