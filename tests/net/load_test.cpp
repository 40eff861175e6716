// Bursts, input that no one should send, and the counters of a long run.
#include <map>
#include <random>

#include "program.h"

namespace quenvar::lab {
namespace {

using Load = LabTest;

std::string RandomBytes(std::size_t size) {
  static std::mt19937 random(53);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

TEST_F(Load, FiveThousandQueriesWithinTheTablesRoomAreAllAnswered) {
  WriteFile(home_.SettingsFile(), SettingsFor({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  Program program(home_);
  constexpr int kQueries = 5000;
  constexpr int kOutstanding = 250;
  int sent = 0;
  int answered = 0;
  EXPECT_TRUE(Eventually([&] {
    for (; sent < kQueries && sent - answered < kOutstanding; ++sent)
      client_.Ask(Query(sent, "burst-" + std::to_string(sent) + ".test"));
    while (const auto query = servers_.Next(kNow)) servers_.Answer(*query, AnswerTo(query->bytes));
    while (client_.Receive(kNow)) ++answered;
    return answered == kQueries;
  })) << answered
      << " of " << sent << " answered";
  program.Terminate();
  EXPECT_EQ(home_.Setting("ADNS"), std::to_string(kQueries));
  EXPECT_EQ(home_.Setting("TOTALQ"), std::to_string(kQueries));
}

TEST_F(Load, RandomDatagramsOnBothSocketsDoNoHarm) {
  const Program program(home_);
  for (std::size_t size = 65507; size > 0; size = size * 8 / 9) {
    const std::string query = RandomBytes(size);
    client_.Ask(query);
    const auto forwarded = servers_.Next();
    ASSERT_TRUE(forwarded) << size << " bytes";
    EXPECT_EQ(forwarded->bytes, query);
    servers_.Answer(*forwarded, RandomBytes(size));
  }
  client_ = Client();
  EXPECT_TRUE(RoundTrip());
}

TEST_F(Load, AnySettingsFileIsReadAndTheRestOfItKept) {
  std::vector<std::string> contents = {RandomBytes(10 << 20), std::string(10 << 20, 'x'), std::string(5, '\0'), ""};
  while (contents.back().size() < (10u << 20)) contents.back() += "[NAME]\n[\n]=\n=\n";
  for (int i = 0; i < 10; ++i) contents.push_back(RandomBytes(static_cast<std::size_t>(i) * 400));
  for (const std::string& content : contents) {
    WriteFile(home_.SettingsFile(), content + "\n" + SettingsFor({1}));
    Program program(home_);
    EXPECT_TRUE(RoundTrip());
    program.Terminate();
    EXPECT_TRUE(ReadFile(home_.SettingsFile()).starts_with(content)) << content.size() << " bytes";
  }
}

constexpr int kBatch = 50;

class Counters : public LabTest {
 protected:
  /// Asks for names that follow each other, or one in ten of them for a name already answered, and answers all from the
  /// server. The last name is fresh: its answer shows that all are settled.
  void AskBatch(int first, bool repeat) {
    for (int i = first; i < first + kBatch; ++i)
      client_.Ask(Query(i, "mixed-" + std::to_string(repeat && i % 10 == 0 ? i - kBatch + 1 : i)));
    for (const auto& query : servers_.Next(std::size_t{kBatch})) servers_.Answer(query, AnswerTo(query.bytes));
    for (int i = 0; i < kBatch; ++i)
      ASSERT_TRUE(client_.Receive()) << "answer " << i << " from query " << first << " on";
  }
  int Number(const std::string& key) { return std::stoi(home_.Setting(key)); }
};

// More than 10000 received requests are aged to nine tenths by the next one, so every 1000 requests from then on; the
// last time is at request 39001. Ageing makes the requests equal to the sum of all others, the milliseconds gained
// included. From there on this run gains none: one answer more than new requests remains, that of the request at which
// it aged.
TEST_F(Counters, FortyThousandMixedQueriesAddUpAndSurviveARestart) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No"));
  {
    const Program program(home_);
    for (int asked = 0; asked < 40000; asked += kBatch)
      ASSERT_NO_FATAL_FAILURE(AskBatch(asked, kBatch <= asked && asked < 39000));
  }
  EXPECT_EQ(Number("TOTALQ"), 10000);
  EXPECT_EQ(Number("NOTANSWERED"), 0);
  EXPECT_EQ(Number("ADNS") + Number("ACACHE") + Number("WTIME"), Number("TOTALQ") + 1);
  EXPECT_GT(Number("WTIME"), 0);
  EXPECT_GT(Number("ACACHE"), 0);

  // A restart cuts the counters to as many characters as the milliseconds gained had, and those begin at 0 again.
  const std::size_t kept = home_.Setting("WTIME").size();
  std::map<std::string, std::string> expected = {{"WTIME", "0"}, {"NOTANSWERED", "0"}};
  for (const char* key : {"ADNS", "ACACHE", "TOTALQ"}) expected[key] = home_.Setting(key).substr(0, kept);
  Program program(home_);
  program.Terminate();
  for (const auto& [key, value] : expected) EXPECT_EQ(home_.Setting(key), value) << key;
}

}  // namespace
}  // namespace quenvar::lab
