#include "engine/relay/match_question.h"

#include "base/query_name.h"
#include "base/text.h"
#include "cache/answer_cache.h"
#include "engine/relay/asked_ports.h"
#include "engine/relay/asked_queries.h"
#include "engine/relay/message_reader.h"
#include "engine/relay/pending_table.h"
#include "engine/relay/query_path.h"
#include "engine/relay/request_room.h"
#include "engine/relay/stored_entry.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "settings/address.h"

namespace quenvar {

namespace {

/// Follows it in the key of a query without EDNS.
constexpr char kPlainLetter = 'N';
/// Clients ask again after about five seconds; a server that is silent for so long is not waited for any more.
constexpr std::int32_t kPatienceMilliseconds = 2000;

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

// A message whose question cannot be read goes by a key that ends with its name.
bool AsksQuestion(const std::string& key) { return !key.ends_with(kNameEnd); }

// Server failure, refusal and the like are a server's own trouble (RFC 1035, section 4.1.1); another one may know.
bool IsFailure(const std::string& key, std::string_view answer) {
  constexpr int kFormatError = 1, kServerFailure = 2, kNotImplemented = 4, kRefused = 5;
  if (!AsksQuestion(key)) return false;
  const int code = ResponseCode(answer);
  return code == kFormatError || code == kServerFailure || code == kNotImplemented || code == kRefused;
}

// What the name holds, or that there is no such name. Other codes tell nothing, or are for the one who has asked, such
// as the refusal of a cookie (RFC 7873, section 8).
bool IsFound(std::string_view answer) {
  constexpr int kNoError = 0, kNameError = 3;
  return ResponseCode(answer) == kNoError || ResponseCode(answer) == kNameError;
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

// What tells apart clients with the same question: none of them can do with an answer to one of the others.
std::string AbilityLetters(const AskerAbility& ability, std::string_view query) {
  std::string letters(1, ability.wantsSignatures ? 'D' : ability.speaksEdns ? 'E' : kPlainLetter);
  if (IsCheckingDisabled(query)) letters += 'C';
  if (!IsRecursionDesired(query)) letters += 'R';
  return letters;
}

// The answer to a client without EDNS that no client without EDNS can do with.
bool SuitsNobody(const std::string& key, std::string_view answer) {
  const bool plain = key[key.rfind(kNameEnd) + 1] == kPlainLetter;
  return plain && (answer.size() > kPlainAnswerBytes || HasOpt(answer));
}

bool Fits(const PendingRequest& request, std::string_view answer) {
  return answer.size() <= request.AnswerBytes && (request.SpeaksEdns || !HasOpt(answer));
}

PendingRequest& Request(int index) { return PendingTable[static_cast<std::size_t>(index)]; }

}  // namespace

std::string MatchQuestionRules::KeyOf(std::string_view query) {
  std::string key = ParseQueryName(query) + kNameEnd;
  const std::optional<Question> question = ReadQuestion(query);
  // What already is an answer asks nothing: two caches could throw it at each other for ever.
  if (!question || IsResponse(query)) return key;
  const std::optional<AskerAbility> ability = ReadAbility(query);
  if (!ability) return key;
  return key + AbilityLetters(*ability, query) + std::to_string(question->type) + ' ' +
         std::to_string(question->klass) + LabelLengths(query, *question);
}

std::string MatchQuestionRules::KeyOfAnswer(std::string_view answer) {
  asked_ = FindAsked(answer, ArrivalPort());
  return asked_ == -1 ? std::string(1, kNameEnd) : Request(asked_).Name;
}

std::string MatchQuestionRules::ShownName(const std::string& key) {
  return DisplayName(key.substr(0, key.rfind(kNameEnd)));
}

void MatchQuestionRules::Describe(PendingRequest& request, std::string_view query) {
  request.Identifier = Identifier(query);
  request.OpenRows = RowsWhere(CanAnswer);
  if (!AsksQuestion(request.Name)) return;
  const AskerAbility ability = *ReadAbility(query);
  request.Question = query.substr(kHeaderBytes, ReadQuestion(query)->end - kHeaderBytes);
  request.Cookie = ability.clientCookie;
  request.SpeaksEdns = ability.speaksEdns;
  request.AnswerBytes = ability.answerBytes;
}

void MatchQuestionRules::Enter(PendingRequest& request) { EnterRequest(request); }

std::string_view MatchQuestionRules::Outgoing(const PendingRequest& request, std::string_view query,
                                              std::string& copy) {
  if (query.size() < kIdentifierBytes) return query;
  copy = query;
  SetIdentifier(copy, request.OwnIdentifier);
  return copy;
}

void MatchQuestionRules::SendToServer(std::size_t row, std::string_view outgoing) { AskServer(row, outgoing); }

std::string MatchQuestionRules::StoredAnswer(const PendingRequest& request) {
  if (request.Question.empty()) return {};
  std::optional<StoredEntry> entry = ReadEntry(CacheLookup(request.Name));
  if (!entry) return {};
  // An entry of the future has an age beyond every time-to-live.
  const auto age = static_cast<std::uint64_t>(platform.clock->UnixSecond() - entry->second);
  std::string answer = std::move(entry->answer);
  if (age >= Lifetime(answer) || !HasQuestion(answer, request.Question) || !Fits(request, answer)) return {};
  ReduceLifetimes(answer, static_cast<std::uint32_t>(age));
  SetIdentifier(answer, request.Identifier);
  return answer;
}

Verdict MatchQuestionRules::Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                                  std::int32_t serverPort) {
  const AskedPort port = TakeArrivalPort();
  if (serverPort != kDnsPort || answer.size() < kHeaderBytes || !IsResponse(answer)) return Verdict::Ignore;
  const std::uint16_t asked = RowsAsked(answer, port);
  const std::uint16_t rows = RowsWhere([&](std::size_t row) {
    return Holds(asked, row) && CanAnswer(row) && IsSameAddress(ServerAddress[row], serverAddress);
  });
  if (rows == 0) return Verdict::Ignore;
  if (asked_ != -1 && AsksQuestion(key) && !HasQuestion(answer, Request(asked_).Question)) return Verdict::Ignore;
  EndSilence(rows);
  if (asked_ == -1) return Verdict::Note;
  PendingRequest& request = Request(asked_);
  request.OpenRows = static_cast<std::uint16_t>(request.OpenRows & ~rows);
  const bool failure = IsFailure(key, answer) && request.Waits();
  if (failure) NoteSilence(request);
  if (failure && IsHeldBack(request)) return Verdict::Note;
  EndAsking(request);
  return Verdict::Deliver;
}

void MatchQuestionRules::EndSilence(std::uint16_t rows) {
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (Holds(rows, row)) silentSince_[row].reset();
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
  if (!AsksQuestion(key) || IsTruncated(answer) || Lifetime(answer) == 0 || SuitsNobody(key, answer)) return;
  std::string entry = EntryBytes(answer, platform.clock->UnixSecond());
  // An answer that comes again within the second is then the same entry, and need not be written.
  SetIdentifier(entry, 0);
  BlankCookies(entry, {});
  if (sweep_.HasRoom(key, entry.size())) CacheStore(key, entry);
}

int MatchQuestionRules::FindReceiver(const std::string& key, std::string_view answer, Origin origin) {
  const bool fromServer = origin == Origin::Server;
  // The answer to a query goes to whoever has sent it; to others only when it tells them as much.
  const bool forAll = AsksQuestion(key) && !IsTruncated(answer) && IsFound(answer);
  return FindOldest([&](const PendingRequest& request) {
    if (!request.Waits()) return false;
    if (fromServer && request.OwnIdentifier == Identifier(answer))
      return !IsFailure(key, answer) || !IsHeldBack(request);
    return forAll && EqualWithoutCase(request.Name, key) && Fits(request, answer);
  });
}

std::string_view MatchQuestionRules::AnswerFor(const PendingRequest& request, std::string_view answer,
                                               std::string& copy) {
  copy = answer;
  SetIdentifier(copy, request.Identifier);
  const std::string& question = request.Question;
  if (question.empty()) return copy;
  BlankCookies(copy, request.Cookie);
  copy.replace(kHeaderBytes, question.size(), question);
  if (!Fits(request, copy)) CutToQuestion(copy, *ReadQuestion(copy));
  return copy;
}

int MatchQuestionRules::FindSettled(const std::string& /*key*/, std::string_view answer) {
  const auto isSettled = [identifier = Identifier(answer)](const PendingRequest& request) {
    return !request.Waits() && request.OwnIdentifier == identifier;
  };
  // It stands where it was found, unless others were answered since.
  if (asked_ >= 0 && asked_ < PendingCount && isSettled(Request(asked_))) return asked_;
  return FindOldest(isSettled);
}

}  // namespace quenvar
