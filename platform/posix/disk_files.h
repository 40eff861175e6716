#pragma once

#include "platform/files.h"

namespace quenvar {

/// Files of the machine's file system.
class DiskFiles final : public Files {
 public:
  /// `fallback` is used, and made where needed, when the executable's own directory cannot be written to.
  explicit DiskFiles(std::string fallback) : fallback_(std::move(fallback)) {}

  std::string ProgramDirectory() override;
  char Separator() override { return '/'; }
  std::vector<std::string> List(const std::string& directory) override;
  std::optional<std::string> Read(const std::string& path) override;
  std::string InstalledFile(const std::string& name) override;
  bool MayReplace(const std::string& path) override;
  bool Delete(const std::string& path) override;

 private:
  std::string fallback_;
};

}  // namespace quenvar
