#include "engine/relay/message_reader.h"

#include <gtest/gtest.h>

#include "tests/fakes/dns_message.h"

namespace quenvar {
namespace {

const std::string kQuery = QueryFor("www.example");

std::string With(const std::string& message, std::size_t at, char byte) {
  return std::string(message).replace(at, 1, 1, byte);
}

std::string LongName(std::size_t lastLabel) {
  const std::string label = std::string(63, 'x') + '.';
  return label + label + label + std::string(lastLabel, 'x');
}

TEST(MessageReader, AnAnswerToOneWholeQuestionLivesAsLongAsItsShortestRecord) {
  const std::string opt = '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(1) + Bytes16(0);
  const auto given = [](const std::string& query) { return ReplyTo(query, "100", '\0' + Record(kA, 60).substr(2)); };
  const auto named = [](const std::string& owner) { return ReplyTo(kQuery, "100", owner + Record(kA, 60).substr(2)); };
  const auto firstRecord = static_cast<char>(kQuery.size());
  const struct {
    const char* what;
    std::string answer;
    std::uint32_t seconds;
  } cases[] = {
      {"all sections count", ReplyTo(kQuery, "111", Record(kA, 300) + Record(kNs, 200) + Record(kA, 100)), 100},
      {"flags of an OPT record do not", ReplyTo(kQuery, "101", Record(kA, 300) + opt), 300},
      {"more than a day", ReplyTo(kQuery, "100", Record(kA, 86401)), 86400},
      {"negative, more than three hours", ReplyTo(kQuery, "010", SoaRecord(90000, 90000), 3), 10800},
      {"highest bit set", ReplyTo(kQuery, "100", Record(kA, 0x80000000)), 0},
      {"SOA shorter than its minimum", ReplyTo(kQuery, "010", SoaRecord(90, 120), 3), 90},
      {"SOA cut short", ReplyTo(kQuery, "010", Record(kSoa, 90, std::string(21, '\1')), 3), 0},
      {"alias to no such type", ReplyTo(kQuery, "110", Record(kCname, 600) + SoaRecord(900, 120)), 120},
      {"alias to no such name", ReplyTo(kQuery, "110", Record(kA, 600) + SoaRecord(900, 120), 3), 120},
      {"positive, with SOA", ReplyTo(kQuery, "110", Record(kA, 600) + SoaRecord(900, 120)), 600},
      {"negative without SOA", ReplyTo(kQuery, "010", Record(kNs, 600), 3), 0},
      {"any type", ReplyTo(QueryFor("www.example", kAny), "100", Record(kMx, 50)), 50},
      {"flags only", ReplyTo(QueryFor("www.example", kAny), "100", opt), 0},
      {"failure", ReplyTo(kQuery, "100", Record(kA, 60), 2), 0},
      {"fewer records than announced", ReplyTo(kQuery, "200", Record(kA, 60)), 0},
      {"name to the end of another", named("\1x\xC0\x10"), 60},
      {"pointer into its own name", named({'\1', 'x', '\xC0', firstRecord}), 0},
      {"pointer into the header", named(std::string("\xC0\0", 2)), 0},
      {"reserved label", named("\x40x"), 0},
      {"257 questions", With(given(kQuery), 4, 1), 0},
      {"an update", given(With(kQuery, 2, 0x28)), 0},
      {"label too long", given(QueryFor(std::string(64, 'x'))), 0},
      {"longest name", given(QueryFor(LongName(61))), 60},
      {"name too long", given(QueryFor(LongName(62))), 0},
  };
  for (const auto& c : cases) EXPECT_EQ(Lifetime(c.answer), c.seconds) << c.what;
  const std::string whole = cases[0].answer;
  for (std::size_t size = 0; size < whole.size(); ++size) EXPECT_EQ(Lifetime(whole.substr(0, size)), 0u) << size;
}

}  // namespace
}  // namespace quenvar
