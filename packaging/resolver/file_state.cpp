#include "packaging/resolver/file_state.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <sstream>

#include "platform/posix/file_replacement.h"

namespace quenvar {

namespace {

using Kind = FileState::Kind;

constexpr off_t kLargestFile = 65536;
constexpr const char* kKindNames[] = {"missing", "file", "link", "other"};

bool WriteNew(const std::string& path, const FileState& state) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) return false;
  const auto size = static_cast<ssize_t>(state.content.size());
  bool done = fchown(file, state.uid, state.gid) == 0 && fchmod(file, state.mode) == 0 &&
              write(file, state.content.data(), state.content.size()) == size && fsync(file) == 0;
  done = close(file) == 0 && done;
  return done;
}

bool MakeNew(const std::string& path, const FileState& state) {
  if (state.kind == Kind::Regular) return WriteNew(path, state);
  if (state.kind != Kind::Link || symlink(state.content.c_str(), path.c_str()) != 0) return false;
  return lchown(path.c_str(), state.uid, state.gid) == 0;
}

std::string LinkTarget(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t size = readlink(path.c_str(), target, sizeof target);
  return size > 0 ? std::string(target, static_cast<std::size_t>(size)) : "";
}

std::string ToHex(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "x";
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
  }
  return text;
}

std::optional<std::string> FromHex(const std::string& text) {
  if (text.size() % 2 != 1 || text.find_first_not_of("0123456789abcdef", 1) != std::string::npos) return std::nullopt;
  std::string bytes;
  for (std::size_t at = 1; at < text.size(); at += 2)
    bytes += static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16));
  return bytes;
}

}  // namespace

FileState RegularFile(const std::string& content) { return {.kind = Kind::Regular, .content = content}; }

FileState LinkTo(const std::string& target) { return {.kind = Kind::Link, .content = target, .mode = 0777}; }

FileState ReadState(const std::string& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return {.kind = errno == ENOENT ? Kind::Missing : Kind::Other};
  FileState state{Kind::Other, "", found.st_mode & 07777U, found.st_uid, found.st_gid};
  if (S_ISLNK(found.st_mode)) {
    state.kind = Kind::Link;
    state.content = LinkTarget(path);
  } else if (S_ISREG(found.st_mode) && found.st_size <= kLargestFile) {
    if (auto content = ReadWholeFile(path)) {
      state.kind = Kind::Regular;
      state.content = std::move(*content);
    }
  }
  return state;
}

bool Establish(const std::string& path, const FileState& state) {
  const std::string newPath = path + ".quenvar-new";
  // One fixed name, so that what a killed program left there goes away with the next change.
  if (unlink(newPath.c_str()) != 0 && errno != ENOENT) return false;
  if (state.kind == Kind::Missing) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) return false;
  } else if (!MakeNew(newPath, state) || rename(newPath.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(newPath.c_str());
    errno = error;
    return false;
  }
  SyncDirectoryOf(path);
  return true;
}

std::string Encode(const FileState& state) {
  std::ostringstream text;
  text << kKindNames[static_cast<int>(state.kind)] << ' ' << state.mode << ' ' << state.uid << ' ' << state.gid << ' '
       << ToHex(state.content);
  return text.str();
}

std::optional<FileState> Decode(const std::string& text) {
  std::istringstream words(text);
  std::string kind;
  std::string content;
  FileState state;
  if (!(words >> kind >> state.mode >> state.uid >> state.gid >> content)) return std::nullopt;
  const auto bytes = FromHex(content);
  if (!bytes) return std::nullopt;
  state.content = *bytes;
  for (const Kind known : {Kind::Missing, Kind::Regular, Kind::Link}) {
    state.kind = known;
    if (kind == kKindNames[static_cast<int>(known)]) return state;
  }
  return std::nullopt;
}

}  // namespace quenvar
