#include "engine/pending_table.h"

#include "tests/fakes/service.h"

namespace quenvar {
namespace {

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

TEST_F(PendingRequests, The301stSwitchesAllServersOff) {
  ServerEnabled.fill(kTrue);
  for (int i = 0; i < 300; ++i) Add("name", i);
  EXPECT_TRUE(boxes.shown.empty());
  boxes.whileOpen = [] { EXPECT_EQ(ServerEnabled[9], kFalse) << "the servers are off before the box opens"; };
  Add("one too many", 300);
  EXPECT_EQ(PendingCount, 0);
  EXPECT_EQ(ServerEnabled[10], kTrue);
  EXPECT_EQ(boxes.shown.size(), 1u);
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

TEST_F(PendingRequests, TicksRefreshSaveAndWrap) {
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

}  // namespace
}  // namespace quenvar
