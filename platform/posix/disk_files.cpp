#include "platform/posix/disk_files.h"

#include <unistd.h>

#include <filesystem>

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace fs = std::filesystem;

namespace {

constexpr const char* kOwnProgram = "/proc/self/exe";

fs::path ExecutableDirectory() {
  std::error_code ignored;
  return fs::read_symlink(kOwnProgram, ignored).parent_path();
}

bool IsInstalled() { return ExecutableDirectory() == QUENVAR_BIN_DIRECTORY; }

}  // namespace

std::string DiskFiles::ProgramDirectory() {
  std::error_code ignored;
  std::string own = ExecutableDirectory();
  if (!own.empty() && !IsInstalled() && access(own.c_str(), W_OK) == 0) return own;
  fs::create_directories(userDirectory_, ignored);
  return userDirectory_;
}

std::vector<std::string> DiskFiles::List(const std::string& directory) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (entry->is_regular_file(ignored)) names.push_back(entry->path().filename());
  }
  return names;
}

std::optional<std::string> DiskFiles::Read(const std::string& path) { return ReadWholeFile(path); }

std::string DiskFiles::InstalledFile(const std::string& name) {
  std::error_code ignored;
  const fs::path own = fs::path(ProgramDirectory()) / name;
  if (fs::exists(own, ignored)) return own;
  return (IsInstalled() ? fs::path(QUENVAR_DATA_DIRECTORY) : ExecutableDirectory()) / name;
}

bool DiskFiles::MayReplace(const std::string& path) {
  std::error_code error;
  const fs::file_type type = fs::symlink_status(path, error).type();
  if (type == fs::file_type::not_found) return true;
  return type == fs::file_type::regular && !fs::equivalent(path, kOwnProgram, error);
}

bool DiskFiles::Delete(const std::string& path) {
  std::error_code error;
  fs::remove(path, error);
  return !error;
}

}  // namespace quenvar
