// Profile strings: text values by section and key in the program's settings file.
#pragma once

#include <cstddef>
#include <string>

namespace quenvar {

class Profile {
 public:
  virtual ~Profile() = default;

  /// The value of a key, at most `bufferSize` - 1 characters of it, or `missing`, cut in the same way, where the file,
  /// section or key does not exist. Section and key are found without case.
  virtual std::string GetString(const std::string& section, const std::string& key, const std::string& missing,
                                std::size_t bufferSize) = 0;

  /// Opens a group of writes. Groups nest, and the outermost one counts.
  virtual void BeginSave() = 0;
  /// Sets a key, making section and key as needed. Only inside of a group. Everything else in the file stays as it is,
  /// and a line break inside of `value` is written as a blank.
  virtual void WriteString(const std::string& section, const std::string& key, const std::string& value) = 0;
  /// Closes a group. The outermost one replaces the file by the new one in a single step, so that at every moment there
  /// is the whole old file or the whole new one. False when that failed; the old file is then as it was.
  virtual bool CommitSave() = 0;
};

}  // namespace quenvar
