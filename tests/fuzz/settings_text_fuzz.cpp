// Any bytes as the settings file: a value that is written comes back, every other line stays, and what was loaded and
// saved is loaded again.
#include <algorithm>
#include <vector>

#include "platform/posix/profile_text.h"
#include "settings/address.h"
#include "settings/settings_file.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

namespace {

const char* const kSections[] = {"OPTIONS", "NAMESERVER"};
const char* const kKeys[] = {"SYSTRAY", "dns_0_name", "DNS_9_DESC"};

struct TextProfile : Profile {
  std::string GetString(const std::string& section, const std::string& key, const std::string& missing,
                        std::size_t bufferSize) override {
    return text.Find(section, key).value_or(missing).substr(0, bufferSize - 1);
  }
  void BeginSave() override {}
  void WriteString(const std::string& section, const std::string& key, const std::string& value) override {
    text.Set(section, key, value);
  }
  bool CommitSave() override { return true; }

  explicit TextProfile(const std::string& content) : text(content) {}
  ProfileText text;
};

// Without line breaks, the blanks around it and one pair of quotes.
std::string Readable(std::string value) {
  for (char& c : value) c = c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
  value.erase(0, value.find_first_not_of(" \t"));
  value.erase(value.find_last_not_of(" \t") + 1);
  const bool quoted = value.size() > 1 && value[0] == value.back() && (value[0] == '"' || value[0] == '\'');
  return quoted ? value.substr(1, value.size() - 2) : value;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::string_view rest = text; !rest.empty();) {
    lines.emplace_back(rest.substr(0, rest.find('\n')));
    rest.remove_prefix(std::min(rest.size(), lines.back().size() + 1));
    lines.back().erase(lines.back().find_last_not_of('\r') + 1);
  }
  return lines;
}

// How many lines of `before` are in front of and behind the one place where `after` differs.
std::size_t KeptLines(const std::vector<std::string>& before, const std::vector<std::string>& after) {
  const auto front = std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first - before.begin();
  const auto back = std::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend()).first - before.rbegin();
  return static_cast<std::size_t>(front + back);
}

std::string SetAndCheck(const std::string& content, Input& input) {
  const std::string section = kSections[input.Below(std::size(kSections))];
  const std::string key = kKeys[input.Below(std::size(kKeys))];
  const std::string value = input.Text();
  ProfileText old(content);
  Require(old.Text() == content);
  ProfileText text(content);
  text.Set(section, key, value);
  Require(text.Find(section, key) == Readable(value));
  const std::string changed = text.Text();
  ProfileText read(changed);
  ProfileText first("");
  first.Set(section, key, value);
  Require(ProfileText(first.Text() + content).Find(section, key) == Readable(value));
  for (const std::string otherSection : kSections)
    for (const std::string otherKey : kKeys)
      Require(read.Find(otherSection, otherKey) ==
              (otherSection == section && otherKey == key ? Readable(value) : old.Find(otherSection, otherKey)));
  const std::size_t replaced = old.Find(section, key) ? 1 : 0;
  Require(KeptLines(Lines(content), Lines(changed)) + replaced >= Lines(content).size());
  return changed;
}

// The state that was loaded from `content`, without addresses that are none, and what it was saved as.
auto LoadAndSave(const std::string& content) {
  FakeService service;
  TextProfile profile(content);
  platform.profile = &profile;
  LoadNameServers();
  LoadStatistics();
  LoadOptions();
  auto addresses = ServerAddress;
  for (std::string& address : addresses)
    if (!ValidateAddress(address).empty()) address.clear();
  SaveAllSettings();
  return std::make_pair(std::make_tuple(addresses, ServerEnabled, ServerWinning, TotalWinning, Check2),
                        profile.text.Text());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  Input changes = input;
  for (std::size_t left = input.Below(4); left > 0; --left) input.Below(1), input.Below(1), input.Text();
  std::string content = input.Rest();
  const auto [loaded, saved] = LoadAndSave(content);
  Require(loaded == LoadAndSave(saved).first);
  for (std::size_t left = changes.Below(4); left > 0; --left) content = SetAndCheck(content, changes);
  return 0;
}
