// One change of the system and its way back. Both are known, and on the disk, before anything is changed.
#pragma once

#include <string>
#include <vector>

#include "packaging/resolver/account.h"
#include "packaging/resolver/file_state.h"

namespace quenvar {

/// The verb of a change of NetworkManager's configuration, which systemctl has none for.
inline constexpr const char* kReloadConfiguration = "reload-configuration";

struct Change {
  enum class Kind {
    File,     ///< `path` goes from `before` to `after`, then `service` takes notice
    Login,    ///< the program is started with the user's sessions
    Program,  ///< the program is started
  };

  Kind kind = Kind::File;
  std::string saying{};  ///< what is done, in words
  std::string path{};    ///< of a file
  FileState before{};
  FileState after{};
  std::vector<std::string> madeFolders{};  ///< folders of `path` that did not exist before, the outermost first
  std::string verb{};  ///< of systemctl, "try-restart" for instance; empty where no service is concerned
  std::string service{};
};

/// A change of a file, with its state before. `before` is what stands there now.
Change FileChange(const std::string& saying, const std::string& path, const FileState& after);

/// The folders that have to be made for `path`, the outermost first.
std::vector<std::string> MissingFolders(const std::string& path);

/// Does it. False, after a line that says why, when that failed.
bool Do(const Change& change, const Account& account);

/// Takes it back as far as it was done. What somebody else has changed since is left alone, with a line that says so.
/// False, after a line that says why, when that failed.
bool Undo(const Change& change, const Account& account);

}  // namespace quenvar
