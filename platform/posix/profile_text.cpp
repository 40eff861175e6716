#include "platform/posix/profile_text.h"

#include <algorithm>

#include "base/text.h"

namespace quenvar {

namespace {

constexpr const char* kBlanks = " \t\r\n";
/// What some editors put in front of a text in UTF-8.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Strip(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsBlank(std::string_view line) { return Strip(line).empty(); }

// The name in a line such as "[name]"; empty for any other line.
std::optional<std::string_view> SectionName(std::string_view line) {
  if (line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  line = Strip(line);
  if (!line.starts_with('[')) return std::nullopt;
  line.remove_prefix(1);
  return Strip(line.substr(0, line.find(']')));
}

// The key of a line such as "key=value"; empty for any other line.
std::string_view KeyOf(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || Strip(line).starts_with(';')) return {};
  return Strip(line.substr(0, equals));
}

std::string_view ValueOf(std::string_view line) {
  std::string_view value = Strip(line.substr(line.find('=') + 1));
  const bool quoted = value.size() >= 2 && value.front() == value.back() && (value[0] == '"' || value[0] == '\'');
  return quoted ? value.substr(1, value.size() - 2) : value;
}

std::string OneLine(std::string_view value) {
  std::string line(value);
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
  return line;
}

// Reading takes blanks and quotation marks away from both ends. In marks of its own the value comes back as it was.
std::string Written(std::string_view value) {
  const std::string line = OneLine(value);
  return ValueOf("=" + line) == line ? line : '"' + line + '"';
}

// The line ends of the text as it is; those of this system for a new one.
std::string LineEndOf(std::string_view text) {
  const std::size_t lineFeed = text.find('\n');
  return lineFeed != std::string_view::npos && lineFeed > 0 && text[lineFeed - 1] == '\r' ? "\r\n" : "\n";
}

}  // namespace

ProfileText::ProfileText(std::string content) : content_(std::move(content)), lineEnd_(LineEndOf(content_)) {
  for (std::string_view rest = content_; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n') + 1);  // all of it where there is no line feed
    AddLine(line.empty() ? rest : line);
    rest.remove_prefix(line.empty() ? rest.size() : line.size());
  }
}

void ProfileText::AddLine(std::string_view line) {
  if (const auto name = SectionName(line)) OpenSection(*name);
  Section& section = sections_.back();
  if (const std::string_view key = KeyOf(line); !key.empty())
    section.keys.emplace(UpperCase(key), section.lines.size());
  section.lines.push_back(line);
  // Blank lines at the end of a section stay between it and the next one.
  if (!IsBlank(line)) section.end = section.lines.size();
}

void ProfileText::OpenSection(std::string_view name) {
  sectionByName_.emplace(UpperCase(name), sections_.size());
  sections_.emplace_back();
}

std::optional<std::string> ProfileText::Find(std::string_view sectionName, std::string_view key) {
  const auto found = sectionByName_.find(UpperCase(sectionName));
  if (found == sectionByName_.end()) return std::nullopt;
  Section& section = sections_[found->second];
  const auto line = section.keys.find(UpperCase(key));
  if (line == section.keys.end()) return std::nullopt;
  // Read as it is written: a code 0 that a damaged file holds is a blank.
  return std::string(ValueOf(OneLine(section.Line(line->second))));
}

ProfileText::Section& ProfileText::SectionFor(std::string_view name) {
  const auto found = sectionByName_.find(UpperCase(name));
  if (found != sectionByName_.end()) return sections_[found->second];
  AddLine(Keep("[" + std::string(name) + "]" + lineEnd_));
  return sections_.back();
}

void ProfileText::Set(std::string_view sectionName, std::string_view key, std::string_view value) {
  Section& section = SectionFor(sectionName);
  const auto [found, isNew] = section.keys.emplace(UpperCase(key), section.lines.size() + section.added.size());
  if (isNew) section.added.push_back(key);
  std::string_view& line = section.Line(found->second);
  const std::string_view spelling = isNew ? key : KeyOf(line);
  line = Keep(std::string(spelling) + "=" + Written(value) + lineEnd_);
}

std::string ProfileText::Text() const {
  std::string text;
  const auto append = [&](auto first, auto last) {
    for (; first != last; ++first) {
      // The last line of the old text may lack its end.
      if (!text.empty() && text.back() != '\n') text += lineEnd_;
      text += *first;
    }
  };
  for (const Section& section : sections_) {
    const auto end = section.lines.begin() + static_cast<std::ptrdiff_t>(section.end);
    append(section.lines.begin(), end);
    append(section.added.begin(), section.added.end());
    append(end, section.lines.end());
  }
  return text;
}

std::string_view ProfileText::Keep(std::string line) { return written_.emplace_back(std::move(line)); }

}  // namespace quenvar
