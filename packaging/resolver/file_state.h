// A file of the system as it is, as it is to be, and as it was: content, mode, owner, or the target of a link.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace quenvar {

struct FileState {
  enum class Kind { Missing, Regular, Link, Other };

  Kind kind = Kind::Missing;
  std::string content{};  ///< of a regular file; the target of a link
  mode_t mode = 0644;
  uid_t uid = 0;
  gid_t gid = 0;

  bool operator==(const FileState&) const = default;
};

FileState RegularFile(const std::string& content);
FileState LinkTo(const std::string& target);

/// What stands at `path`, without following a link there. Other for what is neither a file of at most 64 KiB nor a
/// link.
FileState ReadState(const std::string& path);

/// Puts `state` at `path`, so that at every moment there is the whole old one or the whole new one, and brings it to
/// the disk. False, with errno, when that failed; the old one is then as it was.
bool Establish(const std::string& path, const FileState& state);

/// One line of printable characters, and back.
std::string Encode(const FileState& state);
std::optional<FileState> Decode(const std::string& text);

}  // namespace quenvar
