// The few file operations of the program directory.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quenvar {

class Files {
 public:
  virtual ~Files() = default;

  /// The program directory, with or without a separator at its end.
  virtual std::string ProgramDirectory() = 0;
  virtual char Separator() = 0;
  /// The path of a file that comes with the program: in the program directory or, where it is not there, where it was
  /// installed.
  virtual std::string InstalledFile(const std::string& name) = 0;

  /// The names of the plain files in a directory, in no order; none when it cannot be read.
  virtual std::vector<std::string> List(const std::string& directory) = 0;
  /// The whole content of a file; empty when it cannot be read.
  virtual std::optional<std::string> Read(const std::string& path) = 0;
  /// True when nothing has that path, or a plain file other than the running program.
  virtual bool MayReplace(const std::string& path) = 0;
  /// False when the file is still there afterwards.
  virtual bool Delete(const std::string& path) = 0;
};

}  // namespace quenvar
