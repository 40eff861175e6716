#include "engine/relay/match_question.h"

#include "base/query_name.h"
#include "cache/answer_cache.h"
#include "engine/relay/asked_ports.h"
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

  /// Every query has a port of its own.
  void Ask(const std::string& query) { AskFrom(++lastPort, query); }
  void AskFrom(std::int32_t port, const std::string& query) {
    OnClientDatagram(query, "127.0.0.1", port);
    const PendingRequest& request = PendingTable[static_cast<std::size_t>(PendingCount) - 1];
    if (PendingCount > 0) forwardedAs[query.substr(0, 2)] = Bytes16(request.OwnIdentifier);
  }
  /// An answer with a client's identifier, as a server gives it to the newest query with that identifier.
  void Answer(const std::string& answer, const std::string& server = "10.1.0.1", std::int32_t port = 53) {
    const std::string identifier = forwardedAs[answer.substr(0, 2)];
    ports.Arrive(identifier + answer.substr(identifier.size()), server, port, OnServerDatagram);
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
  std::map<std::string, std::string> forwardedAs;
  std::int32_t lastPort = 0;
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
  EXPECT_EQ(LogLines().back(), "A: 10.1.0.1: A.b.example [in0ms]");
  EXPECT_EQ(GotFor(queries[2]), Messages{answer(queries[2])});
  std::string otherClass = queries[0];
  otherClass.back() = 3;
  for (const std::string& alike : {QueryFor("a.b.example"), QueryFor("a.b\1example"), otherClass, QueryFor("")})
    EXPECT_EQ(GotFor(alike), Messages()) << alike;
}

TEST_F(MatchQuestionPath, AHitAgesAndEnds) {
  const std::string query = QueryFor("name.example");
  const auto answer = [&](std::uint32_t seconds) {
    const std::string padding = Bytes16(12) + Bytes16(16) + std::string(16, '\0');
    const std::string opt = WithOpt(query, 1232, 5, seconds == 60 ? Cookie("12345678a server") : padding);
    return ReplyTo(query, "101", Record(kA, seconds) + opt.substr(query.size()));
  };
  const auto asked = [&](const std::string& cookie) { return WithOpt(query, 1232, 0, Cookie(cookie)); };
  for (const char* cookie : {"", "87654321", "1234567", "12345678"}) Ask(asked(cookie));
  Answer(answer(60));
  Messages got = Got();
  EXPECT_EQ(got.size(), 4u);
  EXPECT_EQ(std::erase(got, answer(60)), 1u) << "the client's cookie is its own";
  for (const std::string& other : got) EXPECT_EQ(other.find("12345678"), std::string::npos);
  clock.second += 59;
  EXPECT_EQ(GotFor(asked("12345678")), Messages{answer(1)});
  char& letter = records.records.begin()->second[1 + kHeaderBytes + 1];
  EXPECT_EQ(std::exchange(letter, 'x'), 'n');
  EXPECT_EQ(GotFor(asked("12345678")), Messages()) << "the answer to another question";
  letter = 'n';
  clock.second += 1;
  EXPECT_EQ(GotFor(asked("")), Messages());
  clock.second -= 61;
  EXPECT_EQ(GotFor(asked("")), Messages()) << "stored in the future";
}

// Askers without EDNS (n), with EDNS and 512 or 4096 bytes (e, E), with DO (D), with CD (C), and without RD (R).
TEST_F(MatchQuestionPath, NobodyGetsWhatHeCannotTake) {
  const std::string askers = "neEDCR";
  const auto plain = [&](char asker) { return QueryFor("name.example", kA, static_cast<std::uint16_t>(asker)); };
  const auto query = [&](char asker) {
    if (asker == 'n') return plain(asker);
    std::string asked = WithOpt(plain(asker), asker == 'e' ? 0 : 4096, asker == 'D' ? 0x8000 : 0);
    if (asker == 'R') asked[2] = 0;
    return asker == 'C' ? asked.replace(3, 1, "\x10") : asked;
  };
  const auto answer = [&](char asker, std::size_t bytes, bool opt) {
    const std::string suffix = opt ? WithOpt(plain(asker), 1232).substr(plain(asker).size()) : "";
    const std::size_t data = bytes - plain(asker).size() - suffix.size() - 12;
    return ReplyTo(plain(asker), opt ? "101" : "100", Record(kA, 60, std::string(data, 'x')) + suffix);
  };
  const auto takers = [&] {
    std::string letters;
    for (const std::string& got : Got()) letters += got.size() > plain('n').size() ? got.substr(1, 1) : "-";
    std::sort(letters.begin(), letters.end());
    return letters;
  };
  const std::tuple<char, std::size_t, bool, std::string, std::string> cases[] = {
      {'E', 512, true, "Ee", "Ee"}, {'E', 513, true, "E", "E"}, {'D', 900, true, "D", "D"},
      {'C', 900, true, "C", "C"},   {'R', 900, true, "R", "R"}, {'n', 512, false, "n", "n"},
      {'n', 512, true, "-", ""},    {'n', 513, false, "-", ""}, {'e', 513, true, "-E", "E"}};
  for (const auto& [first, bytes, opt, atOnce, later] : cases) {
    SCOPED_TRACE(std::string(1, first) + std::to_string(bytes));
    records.records.clear();
    PendingCount = 0;
    for (const char asker : askers) Ask(query(asker));
    Answer(answer(first, bytes, opt));
    EXPECT_EQ(takers(), atOnce);
    PendingCount = 0;
    for (const char asker : askers) Ask(query(asker));
    EXPECT_EQ(takers(), later);
  }
}

TEST_F(MatchQuestionPath, ARetryTakesItsRequestsPlaceAndTheOldestMakesRoom) {
  for (; clock.now < 2; ++clock.now) AskFrom(1, QueryFor("again.example"));
  EXPECT_EQ(std::pair(PendingCount, PendingTable[0].SentAt), std::pair(std::int16_t{1}, 0));
  EXPECT_EQ(ports.ports[0]->sent.front().message, ports.ports[0]->sent.back().message);
  OnClientDatagram(QueryFor("again.example"), "127.0.0.2", 1);
  EXPECT_EQ(PendingCount, 2) << "another client";
  for (std::int32_t port = 2; port <= 301; ++port) {
    clock.now += 10;
    AskFrom(port, QueryFor("same.example"));
  }
  EXPECT_EQ(std::tuple(PendingCount, ServerEnabled[0], boxes.shown.size()), std::tuple(kPendingSlots, kTrue, 0u));
  Answer(ReplyTo(QueryFor("same.example"), "100", Record(kA, 60)));
  EXPECT_EQ(std::tuple(TOTALQ, ADNS, NOTANSWERED, PendingCount), std::tuple(303, 300, 3, 0));
  for (int turn = 0; turn < 2; ++turn) AskFrom(1, QueryFor("same.example"));
  EXPECT_EQ(std::tuple(TOTALQ, ACACHE, NOTANSWERED), std::tuple(305, 2, 3));
  // Hits that fill the table in an outage, or requests from before the tick counter wrapped, leave no less room.
  for (const char* const filling : {"same.example", "other.example"}) {
    PendingCount = 0;
    for (int i = kPendingSlots; i > 0; --i) {
      clock.now = std::numeric_limits<std::int32_t>::max() - 10 * i;
      Ask(QueryFor(filling));
    }
    if (filling[0] == 'o') clock.now = std::numeric_limits<std::int32_t>::min();
    for (std::int32_t port = 1000; port < 1003; ++port) AskFrom(port, QueryFor(std::to_string(port)));
    EXPECT_EQ(
        std::count_if(PendingTable.begin(), PendingTable.end(), [](const auto& r) { return r.ClientPort >= 1000; }), 3)
        << filling;
  }
}

TEST_F(MatchQuestionPath, ARetryLeavesOnceAPortCanBeOpened) {
  Ask(QueryFor("first.example"));
  PendingCount = 0;
  OnPortTimer();
  FakeUdpPort& port = *ports.ports[0];
  EXPECT_FALSE(port.active || portTimer.running);
  port.sent.clear();
  for (const int error : {1, 0}) {
    port.bindError = error;
    AskFrom(9, QueryFor("name.example"));
    EXPECT_EQ(port.sent.size(), error == 0 ? 2u : 0u);
  }
}

TEST_F(MatchQuestionPath, AnAnswerCountsAtThePortThatItsQueryLeftFrom) {
  const std::string queries[] = {QueryFor("a.example", kA, 1), QueryFor("b.example", kA, 2)};
  for (const std::string& query : queries) {
    Ask(query);
    EXPECT_TRUE(portTimer.running);
    OnPortTimer();
  }
  const auto answer = [&](std::size_t i) {
    return forwardedAs[queries[i].substr(0, 2)] + ReplyTo(queries[i]).substr(2);
  };
  ports.ports.at(1)->handler(answer(0), "10.1.0.1", 53);
  OnServerDatagram(answer(1), "10.1.0.1", 53);
  EXPECT_EQ(Got(), Messages());
  for (std::size_t i = 0; i < 2; ++i) ports.ports[i]->handler(answer(i), "10.1.0.1", 53);
  EXPECT_EQ(Got().size(), 2u);
}

TEST_F(MatchQuestionPath, ALoopSwitchesTheServersOff) {
  for (const std::string loop :
       {"server", "own port", "identifier", "one host", "own host", "one client", "again", "slow host", "many hosts"}) {
    SCOPED_TRACE(loop);
    PendingCount = 0;
    boxes.shown.clear();
    SetServer(0, "010.1.0.1");
    for (int turn = 0; turn <= kPendingSlots + 20; ++turn) {
      // A relay that takes what comes back for a retry, or sends it on as its own always.
      const int i = loop == "again" || loop == "one client" ? 0 : turn;
      const std::uint16_t back = PendingTable[static_cast<std::size_t>(std::max(PendingCount - 1, 0))].OwnIdentifier;
      const std::uint16_t identifier = loop == "identifier" ? back : static_cast<std::uint16_t>(i);
      const std::string host = loop == "many hosts" ? "10.0.0." + std::to_string(i % 200)
                               : loop == "own host" ? "127.0.0.1"
                                                    : "10.0.0.9";
      const std::string name = loop.find("host") != loop.npos || loop == "identifier" ? "" : std::to_string(i);
      if (loop == "slow host") clock.now += 10;
      OnClientDatagram(QueryFor(name + ".example", kA, identifier),
                       loop == "server" || loop == "again" ? "10.1.0.1" : host,
                       loop == "own port" ? ports.ports[0]->localPort : i);
    }
    const bool outage = loop == "many hosts" || loop == "slow host";
    EXPECT_EQ(std::pair(boxes.shown.size(), ServerEnabled[0]),
              outage ? std::pair(std::size_t{0}, kTrue) : std::pair(std::size_t{1}, kFalse));
  }
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
  SetServer(0, "10.1.0.9");
  Answer(answer(query), "10.1.0.9");
  SetServer(0, "10.1.0.1");
  EXPECT_EQ(Got(), Messages()) << "that address was not asked";
  std::string truncated = answer(query);
  truncated[2] = static_cast<char>(truncated[2] | 2);
  for (const std::string& kept : {truncated, ReplyTo(query, "200", Record(kA, 60)), answer(query)}) {
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
  Answer(failure(3), "10.1.0.4");
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
  std::string twice = WithOpt(WithOpt(QueryFor("name.example"), 1232), 1232);
  twice[11] = 2;
  for (const std::string& message : {two, response, twice}) {
    Ask(message);
    Ask(std::string(message).replace(0, 1, "X"));
    const std::string answer = message == two ? ReplyTo(two, "100", Record(kA, 60)) : response;
    Answer(answer);
    EXPECT_EQ(Got(), Messages{answer}) << "to its own client only";
  }
  EXPECT_EQ(GotFor(response), Messages()) << "two caches would throw it at each other for ever";
}

}  // namespace
}  // namespace quenvar
