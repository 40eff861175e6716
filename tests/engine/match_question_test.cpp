#include "engine/match_question.h"

#include "cache/answer_cache.h"
#include "engine/query_name.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

using Messages = std::vector<std::string>;

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

  static void Ask(const std::string& query) { OnClientDatagram(query, "10.0.0.9", 4000); }
  static void Answer(const std::string& answer, const std::string& server = "10.1.0.1") {
    OnServerDatagram(answer, server, 53);
  }
  /// What the clients have got since the last call.
  Messages Got() {
    Messages bytes;
    for (const SentDatagram& datagram : std::exchange(downstream.sent, {})) bytes.push_back(datagram.message);
    return bytes;
  }
  Messages GotFor(const std::string& query) {
    Got();
    Ask(query);
    return Got();
  }

  FakeRecordStore records;
};

TEST_F(MatchQuestionPath, EveryClientGetsItsOwnIdentifierAndSpelling) {
  const std::string queries[] = {QueryFor("a\1B.example", kA, 0x0101), QueryFor("A\1b.example", kA, 0x0303),
                                 QueryFor("A\1B.EXAMPLE", kA, 0x0404)};
  const auto answer = [](const std::string& query) { return ReplyTo(query, "100", Record(kA, 60)); };
  Ask(queries[0]);
  Ask(QueryFor("a\1b.example", kAaaa, 0x0202));
  Ask(QueryFor("a.b.example"));
  Ask(queries[1]);
  Answer(answer(QueryFor("a\1b.Example", kA, 0x0303)));
  EXPECT_EQ(Got(), (Messages{answer(queries[0]), answer(queries[1])}));
  EXPECT_EQ(PendingCount, 2) << "the other type and the name that looks alike still wait";
  EXPECT_EQ(LogLines().back(), "A: 10.1.0.1: a.b.Example [in0ms]");
  EXPECT_EQ(GotFor(queries[2]), Messages{answer(queries[2])});
  std::string otherClass = queries[0];
  otherClass.back() = 3;
  for (const std::string& alike : {QueryFor("a.b.example"), QueryFor("a.b\1example"), otherClass, QueryFor("")})
    EXPECT_EQ(GotFor(alike), Messages()) << alike;
}

TEST_F(MatchQuestionPath, AHitAgesAndEnds) {
  const std::string query = QueryFor("name.example");
  const auto answer = [&](std::uint32_t seconds) {
    const std::string cookie =
        seconds == 60 ? Bytes16(10) + Bytes16(16) + "12345678a server" : Bytes16(12) + Bytes16(16);
    return ReplyTo(query, "101",
                   Record(kA, seconds) + '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(5) + Bytes16(20) + cookie +
                       std::string(seconds == 60 ? 0 : 16, '\0'));
  };
  for (const std::string cookie : {"12345678", "87654321", "1234567", ""}) {
    const auto size = static_cast<std::uint32_t>(cookie.size());
    Ask(ReplyTo(query, "001",
                '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(0) + Bytes16(size + 4) + Bytes16(10) + Bytes16(size))
            .replace(2, 1, "\1") +
        cookie);
  }
  Answer(answer(60));
  Messages got = Got();
  EXPECT_EQ(got.front(), answer(60)) << "the first client's cookie is its own";
  got.erase(got.begin());
  EXPECT_EQ(got.size(), 3u);
  for (const std::string& other : got) EXPECT_EQ(other.find("12345678"), std::string::npos);
  clock.second += 59;
  EXPECT_EQ(GotFor(query), Messages{answer(1)});
  clock.second += 1;
  EXPECT_EQ(GotFor(query), Messages());
  clock.second -= 61;
  EXPECT_EQ(GotFor(query), Messages()) << "stored in the future";
}

TEST_F(MatchQuestionPath, OnlyTheAnswerToAQueryCountsAndNotAllAreStored) {
  const std::string query = QueryFor("name.example");
  const auto answer = [](const std::string& to, int code = 0) { return ReplyTo(to, "100", Record(kA, 60), code); };
  Ask(query);
  for (const std::string& forgery :
       {query, answer(QueryFor("name.example", kA, 2)), answer(QueryFor("game.example")),
        answer(QueryFor("name.example", kMx)), ReplyTo(query).replace(5, 1, 1, '\0'), answer(query).substr(0, 11)}) {
    Answer(forgery);
    EXPECT_EQ(Got(), Messages()) << forgery;
  }
  std::string truncated = answer(query);
  truncated[2] = static_cast<char>(truncated[2] | 2);
  for (const std::string& kept :
       {truncated, answer(query, 0x10), ReplyTo(query, "200", Record(kA, 60)), answer(query)}) {
    EXPECT_TRUE(records.records.empty());
    Ask(query);
    ServerResponded.fill(kFalse);
    Answer(kept, "10.1.0.4");
    EXPECT_EQ(Got().back(), kept) << "zeros in a typed address do not matter";
  }
  Answer(answer(query));
  EXPECT_EQ(Got(), Messages()) << "nobody waits any more";
  EXPECT_NE(ServerResponded[0], kFalse) << "but the server is seen to answer";
}

TEST_F(MatchQuestionPath, AFailureWaitsForTheLastServer) {
  const std::string query = QueryFor("name.example");
  for (const int code : {1, 2, 4, 5, 0}) {
    const std::string failure = ReplyTo(query, "100", Record(kA, 60), code);
    Ask(query);
    for (int turn = 0; turn < 2; ++turn) Answer(code == 0 ? ReplyTo(query, "000", "", 2) : failure);
    EXPECT_EQ(Got(), Messages()) << code;
    Answer(failure, "10.1.0.4");
    EXPECT_EQ(Got(), Messages{failure}) << code;
    EXPECT_EQ(records.records.empty(), code != 0) << code;
  }
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
  Answer(failure(9), "10.1.0.4");
  Ask(QueryFor("name.example", kA, 4));
  Answer(failure(4));
  EXPECT_EQ(Got(), Messages()) << "it has spoken again";
  ServerEnabled[3] = kFalse;
  Answer(failure(4));
  EXPECT_EQ(Got(), Messages{failure(4)});
}

TEST_F(MatchQuestionPath, EachHitIsSettledByTheAnswerToItsOwnQuery) {
  const auto query = [](std::uint16_t identifier) { return QueryFor("name.example", kA, identifier); };
  const auto answer = [&](std::uint16_t identifier) { return ReplyTo(query(identifier), "100", Record(kA, 60)); };
  Ask(query(1));
  Answer(answer(1));
  for (const auto& again : {query(2), query(3)}) {
    clock.now += 30;
    Ask(again);
  }
  Answer(answer(3));
  EXPECT_EQ(std::pair(WTIME, int{PendingCount}), std::pair(0.0, 1));
  Answer(answer(2));
  EXPECT_EQ(WTIME, 30);
}

TEST_F(MatchQuestionPath, WhatAsksNoQuestionIsRelayedUnchanged) {
  std::string two = QueryFor("name.example");
  two[5] = 2;
  const std::string response = ReplyTo(QueryFor("name.example"), "100", Record(kA, 60));
  for (const std::string& message : {two, response}) {
    Ask(message);
    Ask(std::string(message).replace(0, 1, "X"));
    const std::string answer = message == two ? ReplyTo(two, "100", Record(kA, 60)) : response;
    Answer(answer);
    EXPECT_EQ(Got(), (Messages{answer, answer}));
  }
  EXPECT_EQ(GotFor(response), Messages()) << "two caches would throw it at each other for ever";
}

}  // namespace
}  // namespace quenvar
