#include "engine/relay/query_path.h"

#include "cache/answer_cache.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class QueryPath : public Service {
 protected:
  QueryPath() {
    platform.records = &records;
    OpenCache();
    SetServer(0, "10.1.0.1", "first");
    SetServer(3, "10.1.0.4", "", 9);
    SetServer(7, "10.1.0.8", "eighth", 9);
    SetServer(12, "10.1.0.13");
    TotalWinning = 18;
  }

  static void Ask(const std::string& name, std::int32_t port = 4000) {
    OnClientDatagram(QueryFor(name), "10.0.0.9", port);
  }

  FakeRecordStore records;
};

TEST_F(QueryPath, TheFirstAnswerGoesToAllWhoWaitOldestFirst) {
  clock.now = 100;
  Ask("Name.example", 1);
  clock.now = 120;
  Ask("4.3.2.1.in-addr.arpa", 2);
  Ask("nAME.example", 3);
  clock.now = 150;
  const std::string answer = QueryFor("name.EXAMPLE", kA, 42) + "answer";
  const std::string reverse = QueryFor("4.3.2.1.in-addr.arpa");
  for (const char* server : {"10.1.0.8", "10.1.0.1"}) OnServerDatagram(answer, server, 53);
  EXPECT_EQ(ServerWinning[0], 0) << "later answers go nowhere";
  OnServerDatagram(reverse, "192.0.2.1", 53);
  EXPECT_EQ(downstream.sent,
            (std::vector<SentDatagram>{{"10.0.0.9", 1, answer}, {"10.0.0.9", 3, answer}, {"10.0.0.9", 2, reverse}}));
  EXPECT_EQ(LogLines(),
            (Trace{"Q: 10.0.0.9 for: Name.example", "Q: 10.0.0.9 for: 1.2.3.4", "Q: 10.0.0.9 for: nAME.example",
                   "A: eighth: name.EXAMPLE [in50ms]", "A: eighth: name.EXAMPLE [in30ms]", "A: : 1.2.3.4 [in30ms]"}));
  EXPECT_EQ(ADNS, 3);
  EXPECT_EQ(ServerWinning[7], 11);
  EXPECT_EQ(TotalWinning, 20);
  EXPECT_EQ(table.answering, (std::vector<int>{7, 0}));
  EXPECT_EQ(table.refreshes, 5) << "after each answer, and each sign of a server";
}

TEST_F(QueryPath, EveryRowWithTheAddressIsCreditedAndTheLastOneNamed) {
  SetServer(5, "10.1.0.1", "twin");
  SetServer(8, "10.1.0.1");
  EXPECT_EQ(CreditWinner("10.1.0.1"), "10.1.0.1");
  EXPECT_EQ(ServerWinning[0] + ServerWinning[5] + ServerWinning[8], 3);
  EXPECT_EQ(CreditWinner("10.1.0.13"), "") << "slots from 10 on are not used";
}

TEST_F(QueryPath, TheBestServerHasMostFirstAnswers) {
  EXPECT_EQ(BestServer(), 3) << "ties keep the lower slot";
  ServerWinning[7] = 10;
  EXPECT_EQ(BestServer(), 7);
  ServerEnabled.fill(kFalse);
  EXPECT_EQ(BestServer(), -1);
  SetServer(9, "10.1.0.10", "", -5);
  EXPECT_EQ(BestServer(), 9);
}

// Tick -1 would read as "still waiting", and the answer would be sent for a whole millisecond.
TEST_F(QueryPath, AHitIsAnsweredAtOnceAndForwardedAndItsGainMeasured) {
  NoCache = kFalse;
  CacheStore("www.example.com", "stored answer");
  clock.now = -1;
  std::size_t sends = 3;
  events.onNextYield = [&] {
    EXPECT_EQ(downstream.sent.size(), 1u) << "before the query goes on";
    sends = upstream.sent.size();
  };
  Ask("WWW.example.com");
  EXPECT_LT(sends, 3u) << "events run between the sends";
  EXPECT_EQ(downstream.sent, (std::vector<SentDatagram>{{"10.0.0.9", 4000, "stored answer"}}));
  EXPECT_EQ(upstream.sent.size(), 3u) << "to all servers before any has answered";
  EXPECT_EQ(ACACHE, 1);
  clock.now = 30;
  OnServerDatagram(QueryFor("www.example.com"), "10.1.0.4", 53);
  EXPECT_EQ(WTIME, 30);
  EXPECT_EQ(PendingCount, 0);
  EXPECT_EQ(LogLines(), (Trace{"Q: 10.0.0.9 for: WWW.example.com", "A: CACHE: WWW.example.com [in0ms]"}));
  Ask("www.example.com");
  ASSERT_EQ(upstream.sent.size(), 4u) << "to the best one after";
  EXPECT_EQ(upstream.sent[3].address, "10.1.0.4");

  NoCache = kTrue;
  clock.now = 50;
  OnServerDatagram(QueryFor("www.example.com") + "new", "10.1.0.1", 53);
  EXPECT_EQ(WTIME, 30);
  EXPECT_EQ(PendingCount, 0);
  EXPECT_EQ(CacheLookup("www.example.com"), QueryFor("www.example.com"));
}

TEST_F(QueryPath, AWaitAcrossTheWrapOfTheTicksLeavesNoLineButIsAnswered) {
  clock.now = 2147483647;
  Ask("a.example");
  clock.now = -2147483648;
  OnServerDatagram(QueryFor("a.example"), "10.1.0.1", 53);
  EXPECT_EQ(downstream.sent.size(), 1u);
  EXPECT_EQ(LogLines().size(), 1u);
}

}  // namespace
}  // namespace quenvar
