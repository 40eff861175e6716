#include "engine/relay/message_reader.h"

#include <algorithm>

namespace quenvar {

namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestLabel = 63;
constexpr std::size_t kMostLabels = 127;
/// Length bytes from here on begin a compression pointer (RFC 1035, section 4.1.4).
constexpr std::size_t kFirstPointer = 0xC0;
/// Type, class, time-to-live and length of a record's data.
constexpr std::size_t kRecordHeadBytes = 10;

constexpr std::uint16_t kTypeSoa = 6;
constexpr std::uint16_t kTypeOpt = 41;
constexpr std::uint16_t kTypeAny = 255;
/// A server that is wrong for long is not believed for long (RFC 8767, section 4; RFC 2308, section 5).
constexpr std::uint32_t kLongestLife = 86400;
constexpr std::uint32_t kLongestNegativeLife = 3 * 3600;

constexpr int kNoError = 0;
constexpr int kNameError = 3;

/// Two names and five numbers, of which the last one is the lifetime of negative answers.
constexpr std::size_t kShortestSoa = 22;

/// Offsets of the counts of records behind the question.
constexpr std::size_t kAnswerCount = 6;
constexpr std::size_t kAdditionalCount = 10;
constexpr char kTruncated = 0x02;

/// In what stands in the place of an OPT record's time-to-live.
constexpr std::uint32_t kEdnsVersion = 0x00FF0000;
constexpr std::uint32_t kDnssecOk = 0x8000;
constexpr std::uint16_t kCookie = 10;
constexpr std::uint16_t kPadding = 12;
constexpr std::size_t kClientCookieBytes = 8;
constexpr std::size_t kOptionHeadBytes = 4;

std::size_t Byte(std::string_view message, std::size_t at) { return static_cast<unsigned char>(message[at]); }

std::uint16_t Read16(std::string_view message, std::size_t at) {
  return static_cast<std::uint16_t>(Byte(message, at) << 8 | Byte(message, at + 1));
}

std::uint32_t Read32(std::string_view message, std::size_t at) {
  return std::uint32_t{Read16(message, at)} << 16 | Read16(message, at + 2);
}

void Write16(std::string& message, std::size_t at, std::uint32_t value) {
  message[at] = static_cast<char>(value >> 8 & 0xFF);
  message[at + 1] = static_cast<char>(value & 0xFF);
}

bool Fits(std::string_view message, std::size_t at, std::size_t size) {
  return at <= message.size() && size <= message.size() - at;
}

// A value with the highest bit set counts as 0 (RFC 2181, section 8).
std::uint32_t ReadLifetime(std::string_view message, std::size_t at) {
  const std::uint32_t seconds = Read32(message, at);
  return seconds >> 31 == 0 ? seconds : 0;
}

// The offset behind the name at `at`; empty when it leaves the message or does not end. A pointer may only lead to
// before the piece that it ends, so that no walk comes by twice; more pointers than a name can have labels lead
// nowhere.
std::optional<std::size_t> SkipName(std::string_view message, std::size_t at) {
  std::optional<std::size_t> end;
  std::size_t pieceStart = at;
  std::size_t pointers = 0;
  for (std::size_t size = 1; Fits(message, at, 1) && size <= kLongestName && pointers <= kMostLabels;) {
    const std::size_t length = Byte(message, at);
    if (length == 0) return end ? end : at + 1;
    if (length <= kLongestLabel) {
      size += length + 1;
      at += length + 1;
      continue;
    }
    if (length < kFirstPointer || !Fits(message, at, 2)) return std::nullopt;
    if (!end) end = at + 2;
    const std::size_t target = Read16(message, at) & 0x3FFFu;
    if (target < kHeaderBytes || target >= pieceStart) return std::nullopt;
    at = pieceStart = target;
    ++pointers;
  }
  return std::nullopt;
}

// What of an OPT record stands in the place of a time-to-live is none (RFC 6891, section 6.1.3).
bool HasLifetime(const ResourceRecord& record) { return record.type != kTypeOpt; }

// The lifetime of a negative answer that its SOA record sets; empty for any other record.
std::optional<std::uint32_t> NegativeLifetime(std::string_view answer, const ResourceRecord& record) {
  if (record.section != Section::Authority || record.type != kTypeSoa || record.dataSize < kShortestSoa)
    return std::nullopt;
  return ReadLifetime(answer, record.dataAt + record.dataSize - 4);
}

// Calls `use` with the offset of the data of each cookie in an OPT record, and its size.
template <typename Use>
void ForEachCookie(std::string_view message, const ResourceRecord& opt, Use use) {
  const std::size_t end = opt.dataAt + opt.dataSize;
  for (std::size_t at = opt.dataAt; at + kOptionHeadBytes <= end;) {
    const std::size_t size = Read16(message, at + 2);
    const std::size_t dataAt = at + kOptionHeadBytes;
    if (size > end - dataAt) return;
    if (Read16(message, at) == kCookie) use(dataAt, size);
    at = dataAt + size;
  }
}

bool MayHaveOpt(std::string_view message) {
  return message.size() >= kHeaderBytes && Read16(message, kAdditionalCount) != 0;
}

// An OPT record has the root's name; its class and time-to-live have meanings of their own (RFC 6891, section 6.1.2).
std::optional<AskerAbility> AbilityIn(std::string_view query, const ResourceRecord& opt) {
  const std::uint32_t flags = Read32(query, opt.lifetimeAt);
  const bool rootName = opt.dataAt - kRecordHeadBytes == opt.nameAt + 1;
  if (opt.type != kTypeOpt || opt.section != Section::Additional || !rootName || (flags & kEdnsVersion) != 0)
    return std::nullopt;
  AskerAbility ability{.speaksEdns = true, .wantsSignatures = (flags & kDnssecOk) != 0};
  ability.answerBytes = std::max(Read16(query, opt.lifetimeAt - 2), kPlainAnswerBytes);
  ForEachCookie(query, opt, [&](std::size_t dataAt, std::size_t size) {
    if (size >= kClientCookieBytes) ability.clientCookie = query.substr(dataAt, kClientCookieBytes);
  });
  return ability;
}

}  // namespace

std::optional<Question> ReadQuestion(std::string_view message) {
  constexpr std::size_t kOperationCode = 0x78;
  if (message.size() < kHeaderBytes || (Byte(message, 2) & kOperationCode) != 0 || Read16(message, 4) != 1)
    return std::nullopt;
  std::size_t at = kHeaderBytes;
  while (Fits(message, at, 1) && Byte(message, at) != 0) {
    if (Byte(message, at) > kLongestLabel) return std::nullopt;
    at += Byte(message, at) + 1;
  }
  const std::size_t nameEnd = at + 1;
  if (nameEnd - kHeaderBytes > kLongestName || !Fits(message, nameEnd, 4)) return std::nullopt;
  return Question{nameEnd, Read16(message, nameEnd), Read16(message, nameEnd + 2), nameEnd + 4};
}

std::uint16_t Identifier(std::string_view message) {
  return message.size() < kIdentifierBytes ? std::uint16_t{0} : Read16(message, 0);
}

void SetIdentifier(std::string& message, std::uint16_t identifier) { Write16(message, 0, identifier); }

bool IsResponse(std::string_view message) { return (Byte(message, 2) & 0x80) != 0; }

bool IsTruncated(std::string_view message) { return (message[2] & kTruncated) != 0; }

bool IsRecursionDesired(std::string_view message) { return (Byte(message, 2) & 0x01) != 0; }

bool IsCheckingDisabled(std::string_view message) { return (Byte(message, 3) & 0x10) != 0; }

int ResponseCode(std::string_view message) { return static_cast<int>(Byte(message, 3) & 0x0F); }

RecordReader::RecordReader(std::string_view message) : message_(message), at_(0), left_{1, 0, 0} {
  const std::optional<Question> question = ReadQuestion(message);
  if (!question) return;
  at_ = question->end;
  for (std::size_t section = 0; section < 3; ++section) left_[section] = Read16(message, kAnswerCount + 2 * section);
}

std::optional<ResourceRecord> RecordReader::Next() {
  const std::size_t section = left_[0] > 0 ? 0 : left_[1] > 0 ? 1 : 2;
  const std::size_t nameAt = at_;
  if (at_ == 0 || left_[section] == 0) return std::nullopt;
  const std::optional<std::size_t> head = SkipName(message_, at_);
  if (!head || !Fits(message_, *head, kRecordHeadBytes)) return std::nullopt;
  const std::size_t dataAt = *head + kRecordHeadBytes;
  const std::size_t dataSize = Read16(message_, dataAt - 2);
  if (!Fits(message_, dataAt, dataSize)) return std::nullopt;
  at_ = dataAt + dataSize;
  --left_[section];
  return ResourceRecord{static_cast<Section>(section), nameAt, Read16(message_, *head), *head + 4, dataAt, dataSize};
}

std::uint32_t Lifetime(std::string_view answer) {
  const std::optional<Question> question = ReadQuestion(answer);
  if (!question || (ResponseCode(answer) != kNoError && ResponseCode(answer) != kNameError)) return 0;
  bool answersQuestion = false;
  std::optional<std::uint32_t> negative;
  std::uint32_t smallest = UINT32_MAX;
  RecordReader records(answer);
  while (const auto record = records.Next()) {
    if (record->section == Section::Answer && (record->type == question->type || question->type == kTypeAny))
      answersQuestion = true;
    if (!negative) negative = NegativeLifetime(answer, *record);
    if (HasLifetime(*record)) smallest = std::min(smallest, ReadLifetime(answer, record->lifetimeAt));
  }
  if (!records.Complete()) return 0;
  // Without an SOA record a negative answer is not to be kept (RFC 2308, section 5).
  if (!answersQuestion || ResponseCode(answer) == kNameError)
    return std::min({smallest, negative.value_or(0), kLongestNegativeLife});
  // Nothing in it has a time-to-live.
  return smallest == UINT32_MAX ? 0 : std::min(smallest, kLongestLife);
}

void ReduceLifetimes(std::string& answer, std::uint32_t seconds) {
  RecordReader records(answer);
  while (const auto record = records.Next()) {
    if (!HasLifetime(*record)) continue;
    const std::uint32_t before = std::min(Read32(answer, record->lifetimeAt), kLongestLife);
    const std::uint32_t left = before - std::min(before, seconds);
    Write16(answer, record->lifetimeAt, left >> 16);
    Write16(answer, record->lifetimeAt + 2, left);
  }
}

std::optional<AskerAbility> ReadAbility(std::string_view query) {
  std::optional<AskerAbility> ability = AskerAbility();
  RecordReader records(query);
  while (const auto record = records.Next()) {
    if (ability->speaksEdns) return std::nullopt;
    ability = AbilityIn(query, *record);
    if (!ability) return std::nullopt;
  }
  return records.Complete() ? ability : std::nullopt;
}

bool HasOpt(std::string_view answer) {
  if (!MayHaveOpt(answer)) return false;
  RecordReader records(answer);
  while (const auto record = records.Next())
    if (record->type == kTypeOpt) return true;
  return false;
}

void CutToQuestion(std::string& answer, const Question& question) {
  answer.resize(question.end);
  answer[2] = static_cast<char>(answer[2] | kTruncated);
  std::fill_n(answer.begin() + kAnswerCount, kHeaderBytes - kAnswerCount, '\0');
}

void BlankCookies(std::string& answer, std::string_view clientCookie) {
  if (!MayHaveOpt(answer)) return;
  RecordReader records(answer);
  while (const auto record = records.Next()) {
    if (record->type != kTypeOpt) continue;
    ForEachCookie(answer, *record, [&](std::size_t dataAt, std::size_t size) {
      const std::string_view data = std::string_view(answer).substr(dataAt, size);
      if (!clientCookie.empty() && data.starts_with(clientCookie)) return;
      Write16(answer, dataAt - kOptionHeadBytes, kPadding);
      std::fill_n(answer.begin() + static_cast<std::ptrdiff_t>(dataAt), size, '\0');
    });
  }
}

}  // namespace quenvar
