#include "engine/match_question.h"

#include "base/text.h"
#include "cache/answer_cache.h"
#include "engine/message_reader.h"
#include "engine/pending_table.h"
#include "engine/query_name.h"
#include "engine/query_path.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "settings/address.h"

namespace quenvar {

namespace {

constexpr std::size_t kIdentifierBytes = 2;
/// Ends the name within a key.
constexpr char kNameEnd = '\0';
constexpr std::size_t kTimeBytes = 8;
/// Clients ask again after about five seconds; a server that is silent for so long is not waited for any more.
constexpr std::int32_t kPatienceMilliseconds = 2000;

std::string_view Identifier(std::string_view message) { return message.substr(0, kIdentifierBytes); }

bool HoldsPoint(std::string_view label) { return label.find('.') != std::string_view::npos; }

// The labels of a name one by one.
template <typename Use>
void ForEachLabel(std::string_view message, const Question& question, Use use) {
  for (std::size_t at = kHeaderBytes; at + 1 < question.nameEnd;) {
    const std::size_t length = static_cast<unsigned char>(message[at]);
    use(message.substr(at + 1, length));
    at += length + 1;
  }
}

// The lengths of the labels, where one of them holds a point or there is none at all. Else nothing.
std::string LabelLengths(std::string_view message, const Question& question) {
  bool needed = question.nameEnd == kHeaderBytes + 1;
  ForEachLabel(message, question, [&](std::string_view label) { needed = needed || HoldsPoint(label); });
  if (!needed) return {};
  std::string lengths;
  ForEachLabel(message, question, [&](std::string_view label) { lengths += ' ' + std::to_string(label.size()); });
  return lengths + " 0";
}

template <typename Condition>
std::uint16_t RowsWhere(Condition condition) {
  unsigned rows = 0;
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (condition(row)) rows |= 1u << row;
  return static_cast<std::uint16_t>(rows);
}

bool Holds(std::uint16_t rows, std::size_t row) { return (rows >> row & 1) != 0; }

bool CanAnswer(std::size_t row) { return ServerEnabled[row] != kFalse && !ServerAddress[row].empty(); }

bool Asks(const PendingRequest& request, const std::string& key, std::string_view answer) {
  return request.Identifier == Identifier(answer) && EqualWithoutCase(request.Name, key);
}

// Server failure, refusal and the like are a server's own trouble (RFC 1035, section 4.1.1); another one may know.
bool IsFailure(const std::string& key, std::string_view answer) {
  constexpr int kFormatError = 1, kServerFailure = 2, kNotImplemented = 4, kRefused = 5;
  if (key.ends_with(kNameEnd)) return false;
  const int code = ResponseCode(answer);
  return code == kFormatError || code == kServerFailure || code == kNotImplemented || code == kRefused;
}

// High byte first.
std::string TimeBytes(std::int64_t second) {
  std::string bytes(kTimeBytes, '\0');
  for (std::size_t i = 0; i < kTimeBytes; ++i)
    bytes[i] = static_cast<char>(second >> (8 * (kTimeBytes - 1 - i)) & 0xFF);
  return bytes;
}

std::uint64_t ReadTime(std::string_view bytes) {
  std::uint64_t second = 0;
  for (const char byte : bytes) second = second << 8 | static_cast<unsigned char>(byte);
  return second;
}

// The question of `answer`, in any spelling.
bool HasQuestion(std::string_view answer, std::string_view question) {
  constexpr std::size_t kTypeAndClass = 4;
  const std::optional<Question> own = ReadQuestion(answer);
  if (!own || own->end - kHeaderBytes != question.size()) return false;
  const std::string_view bytes = answer.substr(kHeaderBytes, question.size());
  const std::size_t nameSize = question.size() - kTypeAndClass;
  return EqualWithoutCase(bytes.substr(0, nameSize), question.substr(0, nameSize)) &&
         bytes.substr(nameSize) == question.substr(nameSize);
}

}  // namespace

std::string MatchQuestionRules::KeyOf(std::string_view message) {
  std::string key = ParseQueryName(message) + kNameEnd;
  if (const std::optional<Question> question = ReadQuestion(message))
    key += std::to_string(question->type) + ' ' + std::to_string(question->klass) + LabelLengths(message, *question);
  return key;
}

std::string MatchQuestionRules::ShownName(const std::string& key) {
  return DisplayName(key.substr(0, key.rfind(kNameEnd)));
}

void MatchQuestionRules::Describe(PendingRequest& request, std::string_view query) {
  request.Identifier = Identifier(query);
  // What already is an answer gets none from the cache: two caches could throw it at each other for ever.
  const std::optional<Question> question = ReadQuestion(query);
  if (question && !IsResponse(query)) request.Question = query.substr(kHeaderBytes, question->end - kHeaderBytes);
  request.Cookie = ClientCookie(query);
  request.OpenRows = RowsWhere(CanAnswer);
}

std::string MatchQuestionRules::StoredAnswer(const PendingRequest& request) {
  if (request.Question.empty()) return {};
  std::string answer = CacheLookup(request.Name);
  if (answer.size() < kTimeBytes) return {};
  const std::size_t size = answer.size() - kTimeBytes;
  // An entry of the future has an age beyond every lifetime.
  const std::uint64_t age =
      static_cast<std::uint64_t>(platform.clock->UnixSecond()) - ReadTime(std::string_view(answer).substr(size));
  answer.resize(size);
  if (age >= Lifetime(answer) || !HasQuestion(answer, request.Question)) return {};
  ReduceLifetimes(answer, static_cast<std::uint32_t>(age));
  return answer.replace(0, kIdentifierBytes, request.Identifier);
}

Verdict MatchQuestionRules::Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                                  std::int32_t serverPort) {
  const std::uint16_t rows =
      RowsWhere([&](std::size_t row) { return CanAnswer(row) && IsSameAddress(ServerAddress[row], serverAddress); });
  if (rows == 0 || serverPort != kDnsPort || answer.size() < kHeaderBytes || !IsResponse(answer))
    return Verdict::Ignore;
  CloseRows(rows, key, answer);
  const bool failure = IsFailure(key, answer);
  Verdict verdict = Verdict::Note;
  for (std::size_t index = 0; index < static_cast<std::size_t>(PendingCount); ++index) {
    const PendingRequest& request = PendingTable[index];
    if (!Asks(request, key, answer)) continue;
    if (failure && request.Waits()) NoteSilence(request);
    if (!failure || !request.Waits() || !IsHeldBack(request)) verdict = Verdict::Deliver;
  }
  return verdict;
}

void MatchQuestionRules::CloseRows(std::uint16_t rows, const std::string& key, std::string_view answer) {
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (Holds(rows, row)) silentSince_[row].reset();
  for (std::size_t index = 0; index < static_cast<std::size_t>(PendingCount); ++index) {
    PendingRequest& request = PendingTable[index];
    if (Asks(request, key, answer)) request.OpenRows = static_cast<std::uint16_t>(request.OpenRows & ~rows);
  }
}

void MatchQuestionRules::NoteSilence(const PendingRequest& request) {
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (Holds(request.OpenRows, row) && CanAnswer(row) && !silentSince_[row]) silentSince_[row] = request.SentAt;
}

bool MatchQuestionRules::IsHeldBack(const PendingRequest& request) const {
  const std::int32_t now = platform.clock->MillisecondTick();
  for (std::size_t row = 0; row < kServerRows; ++row) {
    if (!Holds(request.OpenRows, row) || !CanAnswer(row)) continue;
    const auto silence = TickDiff(silentSince_[row].value_or(now), now);
    if (silence && *silence <= kPatienceMilliseconds) return true;
  }
  return false;
}

void MatchQuestionRules::Store(const std::string& key, std::string_view answer) {
  if (IsTruncated(answer) || IsUnchecked(answer) || Lifetime(answer) == 0) return;
  std::string entry;
  entry.reserve(answer.size() + kTimeBytes);
  entry = answer;
  BlankCookies(entry, {});
  CacheStore(key, entry += TimeBytes(platform.clock->UnixSecond()));
}

int MatchQuestionRules::FindReceiver(const std::string& key, std::string_view answer) {
  if (!IsFailure(key, answer)) return FindWaiting(key);
  return FindOldest([&](const PendingRequest& request) {
    return request.Waits() && Asks(request, key, answer) && !IsHeldBack(request);
  });
}

std::string_view MatchQuestionRules::AnswerFor(const PendingRequest& request, std::string_view answer,
                                               std::string& copy) {
  const std::string& question = request.Question;
  if (question.empty()) return answer;
  copy = answer;
  BlankCookies(copy, request.Cookie);
  copy.replace(0, kIdentifierBytes, request.Identifier);
  copy.replace(kHeaderBytes, question.size(), question);
  return copy;
}

int MatchQuestionRules::FindSettled(const std::string& key, std::string_view answer) {
  return FindOldest([&](const PendingRequest& request) { return !request.Waits() && Asks(request, key, answer); });
}

}  // namespace quenvar
