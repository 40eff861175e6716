#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quenvar {

/// The content of a plain file; empty when it cannot be read.
std::optional<std::string> ReadWholeFile(const std::string& path);

/// Makes an empty file that nobody but its owner may read or write. False when something has that path already.
bool CreatePrivateFile(const std::string& path);

/// Makes such a file with this content. False when that failed; a part of it may then be there.
bool WriteNewFile(const std::string& path, std::string_view content);

/// Puts a finished file in the place of another one, so that at every moment, a loss of power included, there is the
/// whole old file or the whole new one. Permissions and, where possible, the owner stay those of the old file. False
/// when that failed; both are then as they were.
bool MoveIntoPlace(const std::string& newPath, const std::string& path);

/// Brings to the disk which files the folder of `path` holds.
void SyncDirectoryOf(const std::string& path);

/// Writes `content` beside the file and moves it into the file's place. False when that failed, or when the old file
/// may not be written; it is then as it was.
bool ReplaceFile(const std::string& path, std::string_view content);

}  // namespace quenvar
