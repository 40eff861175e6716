#include "engine/match_question.h"

#include <algorithm>
#include <span>

#include "base/text.h"
#include "cache/answer_cache.h"
#include "engine/message_reader.h"
#include "engine/pending_table.h"
#include "engine/query_name.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "settings/address.h"
#include "settings/server_list.h"

namespace quenvar {

namespace {

constexpr std::int32_t kDnsPort = 53;
constexpr std::size_t kIdentifierBytes = 2;
/// Ends the name within a key.
constexpr char kNameEnd = '\0';
constexpr std::size_t kTimeBytes = 8;

std::span<PendingRequest> Requests() { return {PendingTable.data(), static_cast<std::size_t>(PendingCount)}; }

std::string_view Identifier(std::string_view message) { return message.substr(0, kIdentifierBytes); }

// Labels may hold any byte, also points: where the joined name does not show where they end, their lengths say it.
std::string LabelLengths(std::string_view message, const Question& question, std::string_view name) {
  std::string lengths;
  bool plain = question.nameEnd > kHeaderBytes + 1;
  for (std::size_t at = kHeaderBytes; at + 1 < question.nameEnd;) {
    const std::size_t length = static_cast<unsigned char>(message[at]);
    plain = plain && name.substr(at - kHeaderBytes, length).find('.') == std::string_view::npos;
    lengths += ' ' + std::to_string(length);
    at += length + 1;
  }
  return plain ? std::string() : lengths + " 0";
}

// The rows, as bits, that `serverAddress` may answer for. Typed addresses may have zeros in front of their numbers.
std::uint16_t EnabledRows(const std::string& serverAddress) {
  std::uint16_t rows = 0;
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (ServerEnabled[row] != kFalse && IsSameAddress(ServerAddress[row], serverAddress))
      rows = static_cast<std::uint16_t>(rows | 1u << row);
  return rows;
}

std::uint16_t EnabledRows() {
  std::uint16_t rows = 0;
  for (std::size_t row = 0; row < kServerRows; ++row)
    if (ServerEnabled[row] != kFalse) rows = static_cast<std::uint16_t>(rows | 1u << row);
  return rows;
}

bool Matches(const PendingRequest& request, const std::string& key, std::string_view answer) {
  return Identifier(request.QueryHead) == Identifier(answer) && EqualWithoutCase(request.Name, key);
}

bool IsAskedFor(const std::string& key, std::string_view answer) {
  const auto requests = Requests();
  return std::any_of(requests.begin(), requests.end(), [&](const auto& r) { return Matches(r, key, answer); });
}

// Server failure, refusal and the like are a server's own trouble (RFC 1035, section 4.1.1); another one may know.
bool IsFailure(std::string_view answer) {
  constexpr int kFormatError = 1, kServerFailure = 2, kNotImplemented = 4, kRefused = 5;
  const int code = ResponseCode(answer);
  return code == kFormatError || code == kServerFailure || code == kNotImplemented || code == kRefused;
}

// Takes the failed rows out of all who wait for the key. True when some other server that was asked may still answer.
bool MayStillBeAnswered(const std::string& key, std::uint16_t failedRows) {
  const std::uint16_t enabled = EnabledRows();
  bool hope = false;
  for (PendingRequest& request : Requests()) {
    if (!request.Waits() || !EqualWithoutCase(request.Name, key)) continue;
    request.OpenRows = static_cast<std::uint16_t>(request.OpenRows & ~failedRows);
    hope = hope || (request.OpenRows & enabled) != 0;
  }
  return hope;
}

std::string TimeBytes(std::int64_t second) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(second >> shift & 0xFF);
  return bytes;
}

std::int64_t ReadTime(std::string_view bytes) {
  std::uint64_t second = 0;
  for (const char byte : bytes.substr(0, kTimeBytes)) second = second << 8 | static_cast<unsigned char>(byte);
  return static_cast<std::int64_t>(second);
}

}  // namespace

std::string MatchQuestionRules::KeyOf(std::string_view message) const {
  std::string key = ParseQueryName(message);
  const std::optional<Question> question = ReadQuestion(message);
  const std::string lengths = question ? LabelLengths(message, *question, key) : "";
  key += kNameEnd;
  if (question) key += std::to_string(question->type) + ' ' + std::to_string(question->klass) + lengths;
  return key;
}

std::string MatchQuestionRules::ShownName(const std::string& key) const {
  return DisplayName(key.substr(0, key.rfind(kNameEnd)));
}

void MatchQuestionRules::Prepare(PendingRequest& request, std::string_view query) const {
  const std::optional<Question> question = ReadQuestion(query);
  request.QueryHead = query.substr(0, question ? question->nameEnd : kIdentifierBytes);
  request.OpenRows = EnabledRows();
}

std::string MatchQuestionRules::StoredAnswer(const PendingRequest& request) const {
  // An answer that comes as a query gets none: two caches could throw it at each other for ever.
  if (request.QueryHead.size() <= kHeaderBytes || IsResponse(request.QueryHead)) return {};
  std::string answer = CacheLookup(request.Name);
  if (answer.size() <= kTimeBytes) return {};
  const std::int64_t age = platform.clock->UnixSecond() - ReadTime(answer);
  answer.erase(0, kTimeBytes);
  if (age < 0 || age >= Lifetime(answer) || !EqualWithoutCase(KeyOf(answer), request.Name)) return {};
  ReduceLifetimes(answer, static_cast<std::uint32_t>(age));
  return answer;
}

void MatchQuestionRules::Store(const std::string& key, std::string_view answer) const {
  if (Lifetime(answer) == 0 || IsTruncated(answer)) return;
  std::string shared(answer);
  BlankCookies(shared);
  CacheStore(key, TimeBytes(platform.clock->UnixSecond()) + shared);
}

Verdict MatchQuestionRules::Judge(const std::string& key, std::string_view answer, const std::string& serverAddress,
                                  std::int32_t serverPort) const {
  const std::uint16_t rows = EnabledRows(serverAddress);
  if (rows == 0 || serverPort != kDnsPort || answer.size() < kHeaderBytes || !IsResponse(answer))
    return Verdict::Ignore;
  if (!IsAskedFor(key, answer)) return Verdict::Note;
  const bool readable = !key.ends_with(kNameEnd);
  return readable && IsFailure(answer) && MayStillBeAnswered(key, rows) ? Verdict::Note : Verdict::Deliver;
}

std::string_view MatchQuestionRules::AnswerFor(const PendingRequest& request, std::string_view answer,
                                               std::string& copy) const {
  const std::string& head = request.QueryHead;
  if (head.size() <= kHeaderBytes) return answer;
  copy = answer;
  // A server's answer to another query: its cookie is not for this client.
  if (Identifier(head) != Identifier(answer)) BlankCookies(copy);
  copy.replace(0, kIdentifierBytes, head, 0, kIdentifierBytes);
  copy.replace(kHeaderBytes, head.size() - kHeaderBytes, head, kHeaderBytes);
  return copy;
}

int MatchQuestionRules::FindSettled(const std::string& key, std::string_view answer) const {
  const auto requests = Requests();
  const auto settled = std::find_if(requests.begin(), requests.end(),
                                    [&](const auto& r) { return !r.Waits() && Matches(r, key, answer); });
  return settled == requests.end() ? -1 : static_cast<int>(settled - requests.begin());
}

}  // namespace quenvar
