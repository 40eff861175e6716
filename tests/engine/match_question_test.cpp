#include "engine/match_question.h"

#include "cache/answer_cache.h"
#include "engine/query_name.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class MatchQuestionPath : public Service {
 protected:
  MatchQuestionPath() {
    platform.records = &records;
    OpenCache();
    NoCache = kFalse;
    MatchQuestion = kTrue;
    ChooseAnswerRules();
    SetServer(0, "10.1.0.1");
    SetServer(3, "10.1.0.04");
  }

  static void Ask(const std::string& query, std::int32_t port = 4000) { OnClientDatagram(query, "10.0.0.9", port); }
  static void Answer(const std::string& answer) { OnServerDatagram(answer, "10.1.0.1", 53); }
  /// Asks, and a server answers: the query is in the cache after that, where the answer may be stored.
  static void Exchange(const std::string& query, const std::string& answer) {
    Ask(query);
    Answer(answer);
    OnServerDatagram(answer, "10.1.0.4", 53);
  }

  /// What the clients have got since the last call.
  std::vector<std::string> Got() {
    std::vector<std::string> bytes;
    for (const SentDatagram& datagram : std::exchange(downstream.sent, {})) bytes.push_back(datagram.message);
    return bytes;
  }
  std::vector<std::string> GotFor(const std::string& query) {
    Got();
    Ask(query);
    return Got();
  }

  FakeRecordStore records;
};

using Messages = std::vector<std::string>;

TEST_F(MatchQuestionPath, EveryClientGetsItsOwnIdentifierAndSpelling) {
  const std::string record = Record(kA, 60);
  Ask(QueryFor("Name.example", kA, 0x0101));
  Ask(QueryFor("name.example", kAaaa, 0x0202));
  Ask(QueryFor("nAME.EXAMPLE", kA, 0x0303));
  Answer(ReplyTo(QueryFor("name.Example", kA, 0x0303), "100", record));
  EXPECT_EQ(Got(), (Messages{ReplyTo(QueryFor("Name.example", kA, 0x0101), "100", record),
                             ReplyTo(QueryFor("nAME.EXAMPLE", kA, 0x0303), "100", record)}));
  EXPECT_EQ(PendingCount, 1) << "the other type still waits";
  EXPECT_EQ(LogLines().back(), "A: 10.1.0.1: name.Example [in0ms]");
  EXPECT_EQ(GotFor(QueryFor("NAME.example", kA, 0x0404)),
            (Messages{ReplyTo(QueryFor("NAME.example", kA, 0x0404), "100", record)}));
  EXPECT_EQ(LogLines().back(), "A: CACHE: NAME.example [in0ms]");
}

TEST_F(MatchQuestionPath, QuestionsThatOnlyLookAlikeAreKeptApart) {
  const std::string one = QueryFor("a\1b.example");
  Exchange(one, ReplyTo(one, "100", Record(kA, 60)));
  EXPECT_EQ(GotFor(one).size(), 1u);
  std::string otherClass = one;
  otherClass.back() = 3;
  for (const std::string& other : {QueryFor("a.b.example"), QueryFor("a.b\1example"), otherClass,
                                   QueryFor("a\1b.example", kMx), QueryFor(kUnreadableName), QueryFor("")})
    EXPECT_EQ(GotFor(other), Messages()) << other;
}

TEST_F(MatchQuestionPath, AHitAgesAndEnds) {
  const std::string query = QueryFor("name.example");
  const auto answer = [&](std::uint32_t seconds) {
    const std::string cookie = seconds == 60 ? Bytes16(10) + Bytes16(8) + "12345678" : Bytes16(12) + Bytes16(8);
    return ReplyTo(query, "101",
                   Record(kA, seconds) + '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(5) + Bytes16(12) + cookie +
                       std::string(seconds == 60 ? 0 : 8, '\0'));
  };
  Exchange(query, answer(60));
  EXPECT_EQ(Got(), Messages{answer(60)}) << "the first client's cookie is its own";
  clock.second += 59;
  EXPECT_EQ(GotFor(query), Messages{answer(1)});
  clock.second += 1;
  EXPECT_EQ(GotFor(query), Messages());
  clock.second -= 61;
  EXPECT_EQ(GotFor(query), Messages()) << "stored in the future";
}

TEST_F(MatchQuestionPath, OnlyTheAnswerOfAnAskedServerCounts) {
  const std::string query = QueryFor("name.example", kA, 0x0101);
  const std::string answer = ReplyTo(query, "100", Record(kA, 60));
  SetServer(7, "10.1.0.8");
  ServerEnabled[7] = kFalse;
  const struct {
    const char* what;
    std::string answer;
    std::string address;
    std::int32_t port;
  } forgeries[] = {
      {"unknown address", answer, "10.1.0.2", 53},
      {"disabled server", answer, "10.1.0.8", 53},
      {"other port", answer, "10.1.0.1", 54},
      {"no response", query, "10.1.0.1", 53},
      {"other identifier", ReplyTo(QueryFor("name.example", kA, 0x0102), "100", Record(kA, 60)), "10.1.0.1", 53},
      {"other name", ReplyTo(QueryFor("game.example", kA, 0x0101), "100", Record(kA, 60)), "10.1.0.1", 53},
      {"other type", ReplyTo(QueryFor("name.example", kMx, 0x0101), "100", Record(kA, 60)), "10.1.0.1", 53},
      {"no question", ReplyTo(query).replace(5, 1, 1, '\0'), "10.1.0.1", 53},
      {"cut", answer.substr(0, 11), "10.1.0.1", 53},
      {"empty", "", "10.1.0.1", 53},
  };
  Ask(query);
  for (const auto& c : forgeries) {
    OnServerDatagram(c.answer, c.address, c.port);
    EXPECT_EQ(Got(), Messages()) << c.what;
    EXPECT_TRUE(records.records.empty()) << c.what;
  }
  EXPECT_EQ(ADNS, 0);
  OnServerDatagram(answer, "10.1.0.4", 53);
  EXPECT_EQ(Got(), Messages{answer}) << "zeros in a typed address do not matter";
  ServerResponded.fill(kFalse);
  Answer(answer);
  EXPECT_EQ(Got(), Messages()) << "nobody waits any more";
  EXPECT_NE(ServerResponded[0], kFalse) << "but the server is seen to answer";
}

TEST_F(MatchQuestionPath, AFailureWaitsForTheLastServer) {
  const std::string query = QueryFor("name.example");
  const std::string good = ReplyTo(query, "100", Record(kA, 60));
  for (const int code : {1, 2, 4, 5}) {
    const std::string failure = ReplyTo(query, "100", Record(kA, 60), code);
    Ask(query);
    Answer(failure);
    Answer(failure);
    EXPECT_EQ(Got(), Messages()) << code;
    OnServerDatagram(failure, "10.1.0.4", 53);
    EXPECT_EQ(Got(), Messages{failure}) << code;
    EXPECT_TRUE(records.records.empty()) << code;
  }
  Ask(query);
  Answer(ReplyTo(query, "000", "", 2));
  OnServerDatagram(good, "10.1.0.4", 53);
  EXPECT_EQ(Got(), Messages{good});
}

TEST_F(MatchQuestionPath, AFailureIsChargedToItsOwnQueryOnly) {
  const std::string first = QueryFor("name.example", kA, 1);
  const std::string second = QueryFor("name.example", kA, 2);
  Ask(first);
  Ask(second);
  for (const char* server : {"10.1.0.1", "10.1.0.4"}) OnServerDatagram(ReplyTo(first, "000", "", 2), server, 53);
  EXPECT_EQ(Got(), Messages{ReplyTo(first, "000", "", 2)});
  Answer(ReplyTo(second, "100", Record(kA, 60)));
  EXPECT_EQ(Got(), Messages{ReplyTo(second, "100", Record(kA, 60))});
}

// Else every name that the other server cannot find would take up room in the table until that is full.
TEST_F(MatchQuestionPath, AServerThatStaysSilentHoldsNoFailureBack) {
  SetServer(5, "");
  const auto failure = [](std::uint16_t identifier) {
    return ReplyTo(QueryFor("name.example", kA, identifier), "000", "", 2);
  };
  Ask(QueryFor("name.example", kA, 1));
  Answer(failure(1));
  clock.now += 2000;
  Ask(QueryFor("name.example", kA, 2));
  Answer(failure(2));
  EXPECT_EQ(Got(), Messages());
  clock.now += 1;
  Ask(QueryFor("other.example", kA, 3));
  Answer(ReplyTo(QueryFor("other.example", kA, 3), "000", "", 2));
  EXPECT_EQ(Got().size(), 1u);
  OnServerDatagram(failure(9), "10.1.0.4", 53);
  Ask(QueryFor("name.example", kA, 4));
  Answer(failure(4));
  EXPECT_EQ(Got(), Messages()) << "it has spoken again";
  ServerEnabled[3] = kFalse;
  Answer(failure(4));
  EXPECT_EQ(Got(), Messages{failure(4)});
}

TEST_F(MatchQuestionPath, WhatMayNotBeStoredIsDeliveredOnly) {
  const std::string query = QueryFor("name.example");
  std::string truncated = ReplyTo(query, "100", Record(kA, 60));
  truncated[2] = static_cast<char>(truncated[2] | 2);
  const std::string unchecked = ReplyTo(query, "100", Record(kA, 60), 0x10);
  for (const std::string& answer :
       {truncated, unchecked, ReplyTo(query, "200", Record(kA, 60)), ReplyTo(query, "000", "", 3)}) {
    Exchange(query, answer);
    EXPECT_EQ(Got(), Messages{answer});
    EXPECT_TRUE(records.records.empty());
  }
}

TEST_F(MatchQuestionPath, AMessageThatCannotBeReadIsRelayedUnchanged) {
  std::string query = QueryFor("name.example");
  query[5] = 2;
  Ask(query, 1);
  Ask(std::string(query).replace(0, 1, "X"), 2);
  const std::string answer = ReplyTo(query, "100", Record(kA, 60));
  Answer(answer);
  EXPECT_EQ(downstream.sent, (std::vector<SentDatagram>{{"10.0.0.9", 1, answer}, {"10.0.0.9", 2, answer}}));
  EXPECT_TRUE(records.records.empty());
  EXPECT_EQ(upstream.sent[0].message, query);
}

TEST_F(MatchQuestionPath, EachHitIsSettledByTheAnswerToItsOwnQuery) {
  const auto query = [](std::uint16_t identifier) { return QueryFor("name.example", kA, identifier); };
  const auto answer = [&](std::uint16_t identifier) { return ReplyTo(query(identifier), "100", Record(kA, 60)); };
  Exchange(query(1), answer(1));
  clock.now = 100;
  Ask(query(2));
  clock.now = 130;
  Ask(query(3));
  clock.now = 150;
  Answer(answer(3));
  EXPECT_EQ(WTIME, 20);
  Answer(answer(2));
  EXPECT_EQ(WTIME, 70);
  EXPECT_EQ(PendingCount, 0);
}

}  // namespace
}  // namespace quenvar
