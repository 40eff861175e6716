// Section/key text: sections in brackets, lines of key=value, comments that begin with a semicolon.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quenvar {

/// A parsed text whose values can be read and set while every other byte of it stays as it is. Of sections or keys with
/// the same name, the first one counts; names are without case.
class ProfileText {
 public:
  explicit ProfileText(std::string content);
  ProfileText(const ProfileText&) = delete;
  ProfileText& operator=(const ProfileText&) = delete;

  /// The value without the blanks around it and without one pair of quotes around it.
  std::optional<std::string> Find(std::string_view section, std::string_view key);

  /// Sets a value. A new key goes to the end of its section, a new section to the end of the text. Line breaks and code
  /// 0 in `value` become blanks.
  void Set(std::string_view section, std::string_view key, std::string_view value);

  std::string Text() const;

 private:
  struct Section {
    std::vector<std::string_view> lines;                // of the text, with their line ends
    std::size_t end = 0;                                // behind the last line that is not blank
    std::vector<std::string_view> added;                // new keys, which stand at `end`
    std::unordered_map<std::string, std::size_t> keys;  // to an index of `lines`, or behind them of `added`

    std::string_view& Line(std::size_t index) {
      return index < lines.size() ? lines[index] : added[index - lines.size()];
    }
  };

  void AddLine(std::string_view line);
  void OpenSection(std::string_view name);
  Section& SectionFor(std::string_view name);
  std::string_view Keep(std::string line);

  const std::string content_;
  const std::string lineEnd_;
  std::deque<std::string> written_;   // lines that are not in `content`; they do not move
  std::vector<Section> sections_{1};  // the first one holds what stands before any section
  std::unordered_map<std::string, std::size_t> sectionByName_;
};

}  // namespace quenvar
