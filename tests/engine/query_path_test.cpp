#include "engine/query_path.h"

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
    ClearLog();
    SetServer(0, "10.1.0.1", "first");
    SetServer(3, "10.1.0.4", "", 9);
    SetServer(7, "10.1.0.8", "eighth", 9);
    SetServer(12, "10.1.0.13");
    for (const std::size_t slot : {0, 3, 7})
      TotalWinning = static_cast<std::int16_t>(TotalWinning + ServerWinning[slot]);
    downstream.host = "";
  }

  static void Ask(const std::string& name, const std::string& client = "10.0.0.9", std::int32_t port = 4000) {
    OnClientDatagram(QueryFor(name), client, port);
  }

  FakeRecordStore records;
};

TEST_F(QueryPath, TheFirstAnswerGoesToAllWhoWaitOldestFirst) {
  clock.now = 100;
  Ask("Name.example", "10.0.0.9", 1);
  clock.now = 120;
  Ask("other.example", "10.0.0.9", 2);
  Ask("nAME.example", "10.0.0.10", 3);
  clock.now = 150;
  const std::string answer = QueryFor("name.EXAMPLE", kA, 42) + "answer";
  OnServerDatagram(answer, "10.1.0.8", 53);
  EXPECT_EQ(downstream.sent, (std::vector<SentDatagram>{{"10.0.0.9", 1, answer}, {"10.0.0.10", 3, answer}}));
  EXPECT_EQ(ADNS, 2);
  EXPECT_EQ(ServerWinning[7], 11);
  EXPECT_EQ(TotalWinning, 20);
  EXPECT_EQ(PendingCount, 1);
  EXPECT_EQ(LogLines()[3], "A: eighth: name.EXAMPLE [in50ms]");
  EXPECT_EQ(LogLines()[4], "A: eighth: name.EXAMPLE [in30ms]");

  OnServerDatagram(answer, "10.1.0.1", 53);
  EXPECT_EQ(downstream.sent.size(), 2u) << "later answers go nowhere";
  EXPECT_EQ(LogLines().size(), 5u);
  EXPECT_EQ(ServerWinning[0], 0);
  EXPECT_NE(ServerResponded[0], kFalse) << "but the server has answered";
  EXPECT_EQ(table.calls, (std::vector<std::string>{"7 answering", "0 answering"}));
}

TEST_F(QueryPath, AnAnswerWithinTheForwardingFindsItsRequest) {
  events.onNextYield = [] { OnServerDatagram(QueryFor("a.example"), "10.1.0.1", 53); };
  Ask("a.example");
  EXPECT_EQ(downstream.sent.size(), 1u);
  EXPECT_EQ(upstream.sent.size(), 3u) << "the other servers are asked all the same";
}

TEST_F(QueryPath, AStrangersAnswerIsRelayedWithAnEmptyServer) {
  Ask("4.3.2.1.in-addr.arpa");
  OnServerDatagram(QueryFor("4.3.2.1.in-addr.arpa"), "192.0.2.1", 53);
  EXPECT_EQ(downstream.sent.size(), 1u);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{"Q: 10.0.0.9 for: 1.2.3.4", "A: : 1.2.3.4 [in0ms]"}));
  EXPECT_EQ(ADNS, 1);
}

TEST_F(QueryPath, EveryRowWithTheAddressIsCreditedAndTheLastOneNamed) {
  SetServer(5, "10.1.0.1", "twin");
  SetServer(8, "10.1.0.1");
  EXPECT_EQ(CreditWinner("10.1.0.1"), "10.1.0.1");
  EXPECT_EQ(ServerWinning[0] + ServerWinning[5] + ServerWinning[8], 3);
  EXPECT_EQ(TotalWinning, 21);
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
  upstream.active = false;
  EXPECT_EQ(BestServer(), -1);
}

TEST_F(QueryPath, AHitIsAnsweredAtOnceAndForwardedAndItsGainMeasured) {
  NoCache = kFalse;
  CacheStore("www.example.com", "stored answer");
  clock.now = 1000;
  Ask("WWW.example.com");
  EXPECT_EQ(downstream.sent, (std::vector<SentDatagram>{{"10.0.0.9", 4000, "stored answer"}}));
  EXPECT_EQ(upstream.sent.size(), 3u) << "to all servers before any has answered";
  EXPECT_EQ(LogLines(),
            (std::vector<std::string>{"Q: 10.0.0.9 for: WWW.example.com", "A: CACHE: WWW.example.com [in0ms]"}));
  EXPECT_EQ(ACACHE, 1);

  clock.now = 1030;
  OnServerDatagram(QueryFor("www.example.com"), "10.1.0.4", 53);
  EXPECT_EQ(WTIME, 30);
  EXPECT_EQ(PendingCount, 0);
  EXPECT_EQ(downstream.sent.size(), 1u);
  EXPECT_EQ(LogLines().size(), 2u) << "the answer that settles the request writes no line";
  EXPECT_EQ(ServerWinning[3], 9);
  EXPECT_EQ(CacheLookup("www.example.com"), QueryFor("www.example.com"));

  Ask("www.example.com");
  ASSERT_EQ(upstream.sent.size(), 4u) << "to the best one after";
  EXPECT_EQ(upstream.sent[3].address, "10.1.0.4");
}

TEST_F(QueryPath, WithoutCacheNothingIsReadStoredOrGained) {
  NoCache = kFalse;
  CacheStore("a.example", "stored");
  Ask("a.example");
  NoCache = kTrue;
  Ask("a.example");
  EXPECT_EQ(downstream.sent.size(), 1u);
  clock.now = 500;
  OnServerDatagram(QueryFor("a.example") + "new", "10.1.0.1", 53);
  EXPECT_EQ(WTIME, 0);
  EXPECT_EQ(PendingCount, 0);
  EXPECT_EQ(CacheLookup("a.example"), "stored");
}

TEST_F(QueryPath, AWaitAcrossTheWrapOfTheTicksLeavesNoLineButIsAnswered) {
  clock.now = 2147483647;
  Ask("a.example");
  clock.now = -2147483648;
  OnServerDatagram(QueryFor("a.example"), "10.1.0.1", 53);
  EXPECT_EQ(downstream.sent.size(), 1u);
  EXPECT_EQ(LogLines().size(), 1u);
  EXPECT_EQ(PendingCount, 0);
}

// Tick -1 would read as "still waiting" and the answer would be sent for a whole millisecond.
TEST_F(QueryPath, AHitAtTickMinusOneIsAnsweredOnce) {
  NoCache = kFalse;
  CacheStore("a.example", "stored");
  clock.now = -1;
  Ask("a.example");
  EXPECT_EQ(downstream.sent.size(), 1u);
}

}  // namespace
}  // namespace quenvar
