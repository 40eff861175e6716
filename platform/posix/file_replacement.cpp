#include "platform/posix/file_replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace quenvar {

namespace {

// What a user looks up, and where, is nobody else's affair.
constexpr mode_t kNewFileMode = 0600;

class Descriptor {
 public:
  explicit Descriptor(int openFile) : file(openFile) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return file; }
  bool Ok() const { return file >= 0; }
  bool Close() { return file < 0 || close(std::exchange(file, -1)) == 0; }

 private:
  int file;
};

bool WriteAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = write(file, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void TakeOwnerAndMode(int file, const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0) return;
  // Fails for another user's file where this one may not give files away; the content matters more.
  [[maybe_unused]] const int owner = fchown(file, state.st_uid, state.st_gid);
  fchmod(file, state.st_mode & 07777);
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat state {};
  if (!file.Ok() || fstat(file.Get(), &state) != 0 || !S_ISREG(state.st_mode)) return std::nullopt;
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t count = read(file.Get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return content;
    content.append(buffer, static_cast<std::size_t>(count));
  }
}

bool CreatePrivateFile(const std::string& path) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode));
  return file.Ok() && file.Close();
}

bool WriteNewFile(const std::string& path, std::string_view content) {
  if (!CreatePrivateFile(path)) return false;
  Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  return file.Ok() && WriteAll(file.Get(), content) && file.Close();
}

bool MoveIntoPlace(const std::string& newPath, const std::string& path) {
  Descriptor file(open(newPath.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.Ok()) return false;
  TakeOwnerAndMode(file.Get(), path);
  // A name on the disk whose content is not there yet would be neither the old file nor the new one.
  if (fsync(file.Get()) != 0 || !file.Close() || rename(newPath.c_str(), path.c_str()) != 0) return false;
  SyncDirectoryOf(path);
  return true;
}

void SyncDirectoryOf(const std::string& path) {
  const std::string directory = std::filesystem::path(path).parent_path();
  const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.Ok()) fsync(opened.Get());
}

bool ReplaceFile(const std::string& path, std::string_view content) {
  const std::string newPath = path + ".new";
  // A file that was made read-only is not to be changed, although its directory would allow to replace it.
  if (access(path.c_str(), W_OK) != 0 && errno != ENOENT) return false;
  // One fixed name, so that what a killed program left there goes away with the next save.
  unlink(newPath.c_str());
  if (WriteNewFile(newPath, content) && MoveIntoPlace(newPath, path)) return true;
  unlink(newPath.c_str());
  return false;
}

}  // namespace quenvar
