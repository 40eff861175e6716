#pragma once

#include "platform/files.h"

namespace quenvar {

/// Files of the machine's file system.
class DiskFiles final : public Files {
 public:
  /// `userDirectory` is the program directory, made where needed, when the program was installed for all users, or its
  /// own directory cannot be written to.
  explicit DiskFiles(std::string userDirectory) : userDirectory_(std::move(userDirectory)) {}

  std::string ProgramDirectory() override;
  char Separator() override { return '/'; }
  std::vector<std::string> List(const std::string& directory) override;
  std::optional<std::string> Read(const std::string& path) override;
  std::string InstalledFile(const std::string& name) override;
  bool MayReplace(const std::string& path) override;
  bool Delete(const std::string& path) override;

 private:
  std::string userDirectory_;
};

}  // namespace quenvar
