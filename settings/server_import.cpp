#include "settings/server_import.h"

#include <optional>
#include <string>
#include <string_view>

#include "base/numbers.h"
#include "base/program.h"
#include "base/text.h"
#include "platform/files.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace quenvar {

namespace {

constexpr const char* kOldServerFile = "DNSIP.DAT";

// Reads a file of fields that are separated by commas or line ends. A field in double quotes may contain both.
class FieldReader {
 public:
  explicit FieldReader(std::string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }

  // Replaces `field` by the next one. At the end of the text nothing is read, and `field` keeps what it had.
  void Next(std::string& field) {
    if (AtEnd()) return;
    rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    if (!rest_.empty() && rest_.front() == '"') {
      field = Quoted();
      Until(kSeparators);
    } else {
      field = Trim(Until(kSeparators));
    }
    SkipSeparator();
  }

 private:
  static constexpr const char* kSeparators = ",\r\n";

  std::string_view Until(const char* ends) {
    const std::string_view text = rest_.substr(0, rest_.find_first_of(ends));
    rest_.remove_prefix(text.size());
    return text;
  }

  std::string_view Quoted() {
    rest_.remove_prefix(1);
    const std::string_view text = Until("\"");
    if (!rest_.empty()) rest_.remove_prefix(1);
    return text;
  }

  // A carriage return with its line feed is one separator.
  void SkipSeparator() {
    if (rest_.empty()) return;
    rest_.remove_prefix(rest_.starts_with("\r\n") ? 2 : 1);
  }

  std::string_view rest_;
};

void WriteServers(FieldReader fields) {
  std::string field;
  fields.Next(field);  // a header, which means nothing
  std::int16_t row = -1;
  while (!fields.AtEnd()) {
    Increment(row);
    const std::string key = "DNS_" + std::to_string(row);
    fields.Next(field);
    platform.profile->WriteString("NAMESERVER", key + "_NAME", field);
    // Where the file ends inside of a group, the keys that are left get the text of the last field. This is intended.
    fields.Next(field);
    platform.profile->WriteString("NAMESERVER", key + "_DESC", field);
    fields.Next(field);
    platform.profile->WriteString("NAMESERVER", key + "_ENABLED", Trim(field).starts_with('1') ? "Yes" : "No");
    fields.Next(field);
    platform.profile->WriteString("NAMESERVER", key + "_WINNING", NumberText(ReadNumber(field)));
  }
}

std::optional<std::string> FindOldServerFile() {
  for (const std::string& name : platform.files->List(AppPath))
    if (EqualWithoutCase(name, kOldServerFile)) return AppPath + name;
  return std::nullopt;
}

}  // namespace

void ImportServerFile() {
  const std::optional<std::string> path = FindOldServerFile();
  if (!path) return;
  const std::optional<std::string> content = platform.files->Read(*path);
  if (!content) return;
  platform.profile->BeginSave();
  WriteServers(FieldReader(*content));
  if (platform.profile->CommitSave()) platform.files->Delete(*path);
}

}  // namespace quenvar
