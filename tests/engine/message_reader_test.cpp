#include "engine/message_reader.h"

#include <gtest/gtest.h>

#include "tests/fakes/dns_message.h"

namespace quenvar {
namespace {

const std::string kQuery = QueryFor("www.example");

std::string With(const std::string& message, std::size_t at, char byte) {
  return std::string(message).replace(at, 1, 1, byte);
}

TEST(MessageReader, OnlyOneWholeQuestionIsRead) {
  const struct {
    const char* what;
    std::string message;
    bool readable;
  } cases[] = {
      {"plain", kQuery, true},
      {"root", QueryFor(""), true},
      {"records behind it", ReplyTo(kQuery, "900"), true},
      {"cut", kQuery.substr(0, kQuery.size() - 1), false},
      {"no question", With(kQuery, 5, 0), false},
      {"two questions", With(kQuery, 5, 2), false},
      {"257 questions", With(kQuery, 4, 1), false},
      {"an update", With(kQuery, 2, 0x28), false},
      {"compressed name", QueryFor("x").replace(12, 2, "\xC0\x0C"), false},
      {"longest label", QueryFor(std::string(63, 'x')), true},
      {"label too long", QueryFor(std::string(64, 'x')), false},
      {"longest name",
       QueryFor(std::string(63, 'x') + '.' + std::string(63, 'x') + '.' + std::string(63, 'x') + '.' +
                std::string(61, 'x')),
       true},
      {"name too long",
       QueryFor(std::string(63, 'x') + '.' + std::string(63, 'x') + '.' + std::string(63, 'x') + '.' +
                std::string(62, 'x')),
       false},
  };
  for (const auto& c : cases) EXPECT_EQ(ReadQuestion(c.message).has_value(), c.readable) << c.what;
  for (std::size_t size = 0; size < kQuery.size(); ++size) EXPECT_FALSE(ReadQuestion(kQuery.substr(0, size))) << size;
}

TEST(MessageReader, AnAnswerLivesAsLongAsItsShortestRecord) {
  const std::string opt = '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(1) + Bytes16(0);
  const std::string data = "data";
  const auto named = [&](const std::string& owner) { return owner + Record(kA, 60).substr(2); };
  const auto firstRecord = static_cast<char>(kQuery.size());
  const struct {
    const char* what;
    std::string answer;
    std::uint32_t seconds;
  } cases[] = {
      {"all sections count", ReplyTo(kQuery, "111", Record(kA, 300) + Record(kNs, 200) + Record(kA, 100)), 100},
      {"flags of an OPT record do not", ReplyTo(kQuery, "101", Record(kA, 300) + opt), 300},
      {"highest bit set", ReplyTo(kQuery, "100", Record(kA, 0x80000000)), 0},
      {"alias to an address", ReplyTo(kQuery, "200", Record(kCname, 30) + Record(kA, 60)), 30},
      {"no such name", ReplyTo(kQuery, "010", SoaRecord(900, 120), 3), 120},
      {"SOA shorter than its minimum", ReplyTo(kQuery, "010", SoaRecord(90, 120), 3), 90},
      {"no such type", ReplyTo(kQuery, "010", SoaRecord(900, 120)), 120},
      {"alias to no such type", ReplyTo(kQuery, "110", Record(kCname, 600) + SoaRecord(900, 120)), 120},
      {"alias to no such name", ReplyTo(kQuery, "110", Record(kA, 600) + SoaRecord(900, 120), 3), 120},
      {"positive, with SOA", ReplyTo(kQuery, "110", Record(kA, 600) + SoaRecord(900, 120)), 600},
      {"negative without SOA", ReplyTo(kQuery, "010", Record(kNs, 600), 3), 0},
      {"alias to nothing", ReplyTo(kQuery, "100", Record(kCname, 600)), 0},
      {"any type", ReplyTo(QueryFor("www.example", kAny), "100", Record(kMx, 50)), 50},
      {"empty", ReplyTo(kQuery), 0},
      {"flags only", ReplyTo(QueryFor("www.example", kAny), "100", opt), 0},
      {"failure", ReplyTo(kQuery, "100", Record(kA, 60), 2), 0},
      {"other code", ReplyTo(kQuery, "100", Record(kA, 60), 6), 0},
      {"fewer records than announced", ReplyTo(kQuery, "200", Record(kA, 60)), 0},
      {"no question", With(ReplyTo(kQuery, "100", Record(kA, 60)), 5, 0), 0},
      {"name in full", ReplyTo(kQuery, "100", named(WireName("Www.example"))), 60},
      {"name to the end of another", ReplyTo(kQuery, "100", named("\1x\xC0\x10")), 60},
      {"pointer to itself", ReplyTo(kQuery, "100", named({'\xC0', firstRecord})), 0},
      {"pointer into its own name", ReplyTo(kQuery, "100", named({'\1', 'x', '\xC0', firstRecord})), 0},
      {"pointer forward", ReplyTo(kQuery, "100", named("\xC0\x60")), 0},
      {"pointer into the header", ReplyTo(kQuery, "100", named(std::string("\xC0\0", 2))), 0},
      {"reserved label", ReplyTo(kQuery, "100", named("\x40x")), 0},
  };
  for (const auto& c : cases) EXPECT_EQ(Lifetime(c.answer), c.seconds) << c.what;
  const std::string whole = cases[0].answer;
  for (std::size_t size = 0; size < whole.size(); ++size) EXPECT_EQ(Lifetime(whole.substr(0, size)), 0u) << size;
}

}  // namespace
}  // namespace quenvar
