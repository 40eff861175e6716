#include "platform/posix/settings_template.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace fs = std::filesystem;

namespace {

constexpr off_t kMostBytes = 64 * 1024;

bool Exists(const std::string& path) {
  struct stat state {};
  return lstat(path.c_str(), &state) == 0 || errno != ENOENT;
}

// Empty, after a report, for what is no plain file of a settings file's size.
std::optional<std::string> ReadTemplate(const std::string& path,
                                        const std::function<void(const std::string& line)>& report) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0 && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
  if (S_ISREG(state.st_mode) && state.st_size <= kMostBytes)
    if (std::optional<std::string> content = ReadWholeFile(path)) return content;
  report(path + " cannot be used: it is no plain file, larger than 64 KiB, or may not be read.");
  return std::nullopt;
}

bool Sync(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool synced = file != -1 && fsync(file) == 0;
  if (file != -1) close(file);
  return synced;
}

// A link, unlike a renaming, fails where something has the path already, be it a link to nowhere.
bool WriteWhereNothingIs(const std::string& path, std::string_view content) {
  const std::string written = path + ".first." + std::to_string(getpid());
  unlink(written.c_str());
  const bool copied =
      WriteNewFile(written, content) && Sync(written) && (link(written.c_str(), path.c_str()) == 0 || Exists(path));
  unlink(written.c_str());
  SyncDirectoryOf(path);
  return copied;
}

}  // namespace

void CopyFirstTemplate(std::string_view directories, const std::string& path,
                       const std::function<void(const std::string& line)>& report) {
  const std::string name = fs::path(path).filename();
  while (!directories.empty() && !Exists(path)) {
    const std::string_view directory = directories.substr(0, directories.find(':'));
    directories.remove_prefix(std::min(directory.size() + 1, directories.size()));
    if (!directory.starts_with('/')) continue;
    const std::string source = std::string(directory) + "/" + name;
    const std::optional<std::string> content = ReadTemplate(source, report);
    if (!content) continue;
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
    if (!WriteWhereNothingIs(path, *content)) report(source + " cannot be copied to " + path + ".");
    return;
  }
}

}  // namespace quenvar
