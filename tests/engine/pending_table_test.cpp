#include "engine/pending_table.h"

#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class PendingRequests : public Service {
 protected:
  void Add(const std::string& name, std::int32_t sentAt, std::int32_t answeredAt = kStillWaiting) {
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
  EXPECT_EQ(FindWaiting("nam"), -1);
  EXPECT_EQ(FindCacheAnswered("other"), -1);
}

TEST_F(PendingRequests, The301stSwitchesAllServersOff) {
  for (std::size_t slot = 0; slot < kServerSlots; ++slot) SetServer(slot, "10.0.0.2");
  for (int i = 0; i < 300; ++i) Add("name", i);
  EXPECT_EQ(PendingCount, 300);
  EXPECT_TRUE(boxes.shown.empty());
  Boolean16 enabledAtBox = kTrue;
  boxes.whileOpen = [&] { enabledAtBox = ServerEnabled[0]; };
  Add("one too many", 300);
  EXPECT_EQ(PendingCount, 0);
  EXPECT_EQ(FindWaiting("one too many"), -1);
  EXPECT_EQ(NOTANSWERED, 0);
  EXPECT_EQ(enabledAtBox, kFalse) << "the servers are off before the box opens";
  for (std::size_t slot = 0; slot < kServerSlots; ++slot)
    EXPECT_EQ(ServerEnabled[slot], slot < 10 ? kFalse : kTrue) << slot;
  EXPECT_EQ(boxes.shown.size(), 1u);
}

TEST_F(PendingRequests, TheSweepTakesOutWhatIsOlderThan40Seconds) {
  clock.now = 50000;
  Add("exactly 40 seconds", 10000);
  Add("older", 9999);
  Add("older, answered from the cache", 9999, 9999);
  Add("wrapped", -2147483647);
  SweepPending();
  EXPECT_EQ(NOTANSWERED, 1) << "only the client that never got an answer counts";
  EXPECT_EQ(PendingCount, 2);
  EXPECT_NE(FindWaiting("exactly 40 seconds"), -1);
  EXPECT_NE(FindWaiting("wrapped"), -1) << "a difference that overflows is passed over";
}

// The loop keeps the bound it began with and looks at vacated slots as they stand.
TEST_F(PendingRequests, TheSweepLooksAtMovedRecordsOnTheNextTick) {
  clock.now = 100000;
  Add("expired 1", 0);
  Add("fresh", 90000);
  Add("expired 2", 0);
  SweepPending();
  // Slot 0 got "expired 2" and is passed; slot 2 still holds a copy of it, which counts and takes the last one out.
  EXPECT_EQ(NOTANSWERED, 2);
  EXPECT_EQ(PendingCount, 1);
  EXPECT_EQ(PendingTable[0].Name, "expired 2");
}

TEST_F(PendingRequests, TicksRefreshSaveAndWrap) {
  SetCurrentPage(kServerPage);
  std::vector<int> saves;
  for (int tick = 0; tick <= 10020; ++tick) {
    const auto before = trace.size();
    OnTimer1();
    if (trace.size() > before) saves.push_back(tick);
    ASSERT_LT(HousekeepingTicks, 10000);
  }
  EXPECT_EQ(saves.front(), 20);
  EXPECT_EQ(saves[1], 80);
  EXPECT_EQ(saves[saves.size() - 2], 9980);
  EXPECT_EQ(saves.back(), 10020) << "the counter begins again at 10000";
  EXPECT_EQ(table.refreshes, 3334 + 7);
  SetCurrentPage(kLogPage);
  HousekeepingTicks = 0;
  OnTimer1();
  EXPECT_EQ(table.refreshes, 3341) << "only while the page is shown";
}

}  // namespace
}  // namespace quenvar
