#include "platform/posix/profile_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace fs = std::filesystem;

namespace {

// A link to the file is followed here once, so that saving replaces the file and not the link.
std::string Resolve(const std::string& path) {
  std::error_code error;
  const fs::path resolved = fs::weakly_canonical(path, error);
  return error ? path : resolved.string();
}

bool SameState(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

ProfileFile::ProfileFile(const std::string& path) : path_(Resolve(path)) {}

ProfileFile::~ProfileFile() = default;

std::string ProfileFile::GetString(const std::string& section, const std::string& key, const std::string& missing,
                                   std::size_t bufferSize) {
  if (groups_ == 0) Refresh();
  return profile_->Find(section, key).value_or(missing).substr(0, bufferSize - 1);
}

void ProfileFile::BeginSave() {
  if (groups_++ == 0) Refresh();
}

void ProfileFile::WriteString(const std::string& section, const std::string& key, const std::string& value) {
  profile_->Set(section, key, value);
}

bool ProfileFile::CommitSave() {
  if (--groups_ > 0) return true;
  const bool saved = Save();
  // What is read from now on is what the disk holds.
  profile_.reset();
  return saved;
}

bool ProfileFile::Save() {
  if (!readable_) return false;
  std::error_code ignored;
  fs::create_directories(fs::path(path_).parent_path(), ignored);
  return ReplaceFile(path_, profile_->Text());
}

void ProfileFile::Refresh() {
  struct stat state {};
  const bool exists = stat(path_.c_str(), &state) == 0;
  if (profile_ && SameState(state, readState_)) return;
  readState_ = state;
  const std::optional<std::string> text = exists ? ReadWholeFile(path_) : std::nullopt;
  readable_ = text || (!exists && errno == ENOENT);
  profile_ = std::make_unique<ProfileText>(text.value_or(""));
}

}  // namespace quenvar
