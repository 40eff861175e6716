#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quenvar {

/// The content of a plain file; empty when it cannot be read.
std::optional<std::string> ReadWholeFile(const std::string& path);

/// Writes `content` beside the file, brings it to the disk and renames it over the file, so that at every moment, a
/// loss of power included, there is the whole old file or the whole new one. Permissions and, where possible, the owner
/// stay those of the old file. False when that failed, or when the old file may not be written; it is then as it was.
bool ReplaceFile(const std::string& path, std::string_view content);

}  // namespace quenvar
