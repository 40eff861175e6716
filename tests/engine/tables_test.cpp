// The log, the requests that wait, and the names that are read from messages.
#include <malloc.h>

#include "base/query_name.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using namespace std::string_literals;

using EventLog = Service;

TEST_F(EventLog, KeepsMessagesAsTheyStandAndReportsFailuresUntilTheWindowWasShown) {
  WriteLog("dropped");
  ClearLog();
  WriteLog("two\r\nlines <b>\xff");
  WriteFailureToLog("first");
  ShowFailuresInLogOnly();
  WriteFailureToLog("");
  EXPECT_EQ(LogText(), "12:00:00 two\r\nlines <b>\xff\r\n12:00:00 first\r\n12:00:00 \r\n");
  EXPECT_EQ(process.reports, std::vector<std::string>{"first"});
}

// The scan goes on behind the cut: when one line is not enough, part of the next ones is passed over.
TEST_F(EventLog, DropsTheOldestLinesFrom20001CharactersOn) {
  const auto taken = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  const auto before = taken();
  for (int line = 0; line < 100000; ++line) WriteLog(std::string(100, 'x'));
  EXPECT_LT(taken(), before + 200000);
  const std::pair<std::vector<std::size_t>, std::size_t> cases[] = {
      {{100, 19900}, 20000}, {{100, 19901}, 19901}, {{50, 30, 19980}, 0}};
  for (const auto& [sizes, left] : cases) {
    ClearLog();
    for (const std::size_t size : sizes) WriteLog(std::string(size - 11, 'x'));
    WriteLog("end");
    EXPECT_EQ(LogText().size(), left + 14);
  }
}

class PendingRequests : public Service {
 protected:
  static void Add(const std::string& name, std::int32_t sentAt, std::int32_t answeredAt = kStillWaiting) {
    PendingRequest request = MakeRequest(name, "10.0.0.9", 1234);
    request.SentAt = sentAt;
    request.AnsweredAt = answeredAt;
    AddPending(request);
  }
};

TEST_F(PendingRequests, TheOldestWaitingOneIsFoundWithoutCase) {
  Add("other", 1);
  Add("Name", 30);
  Add("name", 20, 25);
  Add("nAME", 20);
  Add("NAME", 20);
  EXPECT_EQ(FindWaiting("naMe"), 3) << "of equal age, the lower index";
  EXPECT_EQ(FindCacheAnswered("NAME"), 2);
  EXPECT_EQ(FindCacheAnswered("other"), -1);
}

// The loop keeps the bound it began with and looks at vacated slots as they stand.
TEST_F(PendingRequests, TheSweepTakesOutWhatIsOlderThan40SecondsAndLooksAtMovedRecordsOnTheNextTick) {
  clock.now = 50000;
  Add("older, answered from the cache", 9999, 9999);
  Add("exactly 40 seconds", 10000);
  Add("wrapped", -2147483647);
  Add("older", 9999);
  Add("oldest", 9998);
  SweepPending();
  // Slot 0 got "oldest" and is passed; slot 4 still holds a copy of it, which counts and takes the last one out.
  EXPECT_EQ(NOTANSWERED, 2);
  EXPECT_EQ(PendingCount, 2);
  EXPECT_EQ(PendingTable[0].Name, "oldest");
  EXPECT_EQ(PendingTable[1].Name, "exactly 40 seconds");
}

TEST_F(PendingRequests, TheTableIsRefreshedEveryThirdTickAndAllIsSavedEverySixtieth) {
  std::vector<int> saves;
  for (int tick = 0; tick <= 10020; ++tick) {
    SetCurrentPage(tick < 8998 ? kServerPage : kLogPage);
    const auto before = trace.size();
    OnTimer1();
    if (trace.size() > before) saves.push_back(tick);
  }
  EXPECT_EQ(saves.front(), 20);
  EXPECT_EQ(saves[1], 80);
  EXPECT_EQ(saves[saves.size() - 2], 9980);
  EXPECT_EQ(saves.back(), 10020) << "the counter begins again at 10000";
  EXPECT_EQ(table.refreshes, 3000);
}

TEST(QueryName, ReadsTheFirstQuestionOrSaysThatItCannot) {
  const std::string header(12, 'h');
  const std::pair<std::string, std::string> cases[] = {
      {"\3www\7ExAmple\3com\0\0\1\0\1"s, "www.ExAmple.com"},
      {"\1a\0"s, "a"},
      {"\2.\xff\1\0\0"s, ".\xff.\0"s},
      {"\xbf"s + std::string(191, 'x') + "\0"s, std::string(191, 'x')},
      {"\0\0\1\0\1"s, kUnreadableName},
      {""s, kUnreadableName},
      {"\1a\xc0\x0c\0\1"s, kUnreadableName},
      {"\5abc"s, kUnreadableName},
      {"\3abc"s, kUnreadableName},
      {"\1a\5"s, kUnreadableName},
  };
  for (const auto& [afterHeader, name] : cases) EXPECT_EQ(ParseQueryName(header + afterHeader), name);
  EXPECT_EQ(ParseQueryName(""), kUnreadableName);
}

TEST(QueryName, ReverseNamesAreShownAsAddresses) {
  const std::pair<const char*, const char*> cases[] = {
      {"1.0.0.127.in-addr.arpa", "127.0.0.1"},
      {"3.2.in-addr.arpa", ".in-addr.2.3"},
      {"5.4.3.2.1.in-addr.arpa", "2.3.4.5"},
      {"4.3.2.1.IN-ADDR.ARPA", "4.3.2.1.IN-ADDR.ARPA"},
  };
  for (const auto& [name, shown] : cases) EXPECT_EQ(DisplayName(name), shown);
}

}  // namespace
}  // namespace quenvar
