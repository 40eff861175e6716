#include "platform/posix/disk_files.h"

#include <unistd.h>

#include <filesystem>

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace fs = std::filesystem;

std::string DiskFiles::ProgramDirectory() {
  std::error_code ignored;
  const std::string own = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  if (!own.empty() && access(own.c_str(), W_OK) == 0) return own;
  fs::create_directories(fallback_, ignored);
  return fallback_;
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

bool DiskFiles::Delete(const std::string& path) {
  std::error_code error;
  fs::remove(path, error);
  return !error;
}

}  // namespace quenvar
