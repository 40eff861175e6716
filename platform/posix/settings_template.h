// The file that a user's settings begin with: the first template of the system's configuration directories.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quenvar {

/// Copies the template to `path` where nothing has that path yet, whole and for its owner's eyes only; its folder is
/// made as needed. Another start that makes the file meanwhile wins. `directories` are absolute paths with a colon
/// between them, the first one that holds a usable template counts: a plain file of the name of `path`, of at most
/// 64 KiB. `report` gets a line for each template that is there and cannot be used.
void CopyFirstTemplate(std::string_view directories, const std::string& path,
                       const std::function<void(const std::string& line)>& report);

}  // namespace quenvar
