#pragma once

#include <sys/stat.h>

#include <memory>

#include "platform/posix/profile_text.h"
#include "platform/profile.h"

namespace quenvar {

/// Profile strings in one text file. The file is read again whenever it has changed on disk.
class ProfileFile final : public Profile {
 public:
  /// The directory of `path` is made when the file is first saved.
  explicit ProfileFile(const std::string& path);
  ~ProfileFile() override;

  std::string GetString(const std::string& section, const std::string& key, const std::string& missing,
                        std::size_t bufferSize) override;
  void BeginSave() override;
  void WriteString(const std::string& section, const std::string& key, const std::string& value) override;
  bool CommitSave() override;

 private:
  void Refresh();
  bool Save();

  const std::string path_;
  std::unique_ptr<ProfileText> profile_;
  struct stat readState_ {};
  bool readable_ = true;  // false: there is a file whose content is not known, so that it must not be replaced
  int groups_ = 0;
};

}  // namespace quenvar
