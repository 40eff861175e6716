#include <unordered_set>

#include "base/query_name.h"
#include "cache/answer_cache.h"
#include "cache/record_piece.h"

namespace quenvar {

namespace {

using Keys = std::unordered_set<std::string>;

// As it is written, whatever CacheLookup bears besides.
bool IsSound(std::string_view piece) {
  return IsLast(piece) ? piece.size() <= 1 + kPayload
                       : piece.front() == kContinued && piece.size() == 1 + kPayload + kKeyLength;
}

// Every rule makes the key of an answer begin with the name of its question, and what it appends begins with a code 0.
// Where no name can be read, a record with a key of five bytes is taken for the rest of another name's answer.
bool IsStoredUnder(std::string_view key, std::string_view answer) {
  const std::string name = UpperCase(ParseQueryName(answer));
  if (name == UpperCase(kUnreadableName)) return key.size() != kKeyLength;
  return key.starts_with(name) && (key.size() == name.size() || key[name.size()] == '\0');
}

// Adds the continuation keys of a whole answer to `links`. False for anything else, and for an answer that shares a
// record with another one.
bool AddLinksOfWholeAnswer(std::string_view name, Keys& links) {
  std::string answer;
  Keys own;
  bool sound = true;
  const bool whole = FollowChain(name, [&](const std::string& key, std::string_view piece) {
    sound = sound && IsSound(piece) && (key == name || (!links.contains(key) && own.insert(key).second));
    answer.append(Payload(piece));
  });
  if (!whole || !sound || !IsStoredUnder(name, answer)) return false;
  links.merge(own);
  return true;
}

bool DeleteRecord(const std::string& key) { return platform.records->Seek(key) && platform.records->Delete(); }

}  // namespace

std::optional<std::size_t> CacheKeepWholeAnswers() {
  std::size_t answers = 0;
  Keys links;
  Keys others;
  const auto judge = [&](std::string_view key, std::string_view) {
    if (AddLinksOfWholeAnswer(key, links)) {
      ++answers;
    } else {
      others.emplace(key);
    }
  };
  if (!platform.records->ForEach(judge)) return std::nullopt;
  for (const std::string& key : others)
    if (!links.contains(key) && !DeleteRecord(key)) return std::nullopt;
  return answers;
}

}  // namespace quenvar
