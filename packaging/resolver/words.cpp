#include "packaging/resolver/words.h"

namespace quenvar {

namespace {

constexpr std::size_t kLongestName = 253;

bool IsName(const std::string& text) {
  return !text.empty() && text.size() <= kLongestName && text[0] != '-' && text.find("..") == std::string::npos &&
         text[0] != '.' &&
         text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_") ==
             std::string::npos;
}

}  // namespace

std::optional<Wishes> ReadWords(const std::vector<std::string>& words) {
  Wishes wishes;
  for (std::size_t at = 0; at < words.size(); ++at) {
    const std::string& word = words[at];
    if (word == "--dry-run") {
      wishes.dryRun = true;
    } else if (word == "--yes") {
      wishes.yes = true;
    } else if (word == "--match-question") {
      wishes.matchQuestion = true;
    } else if (word == "--name" && at + 1 < words.size() && IsName(words[at + 1])) {
      wishes.name = words[++at];
    } else if (wishes.verb.empty() && (word == "on" || word == "off" || word == "status")) {
      wishes.verb = word;
    } else {
      return std::nullopt;
    }
  }
  return wishes.verb.empty() ? std::nullopt : std::optional(wishes);
}

}  // namespace quenvar
