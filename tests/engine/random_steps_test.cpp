// Whatever happens to the service, in whatever order, also while it yields or asks the user: its tables stay whole, and
// answers reach those who asked. QUENVAR_STEPS and QUENVAR_SEED in the environment choose other sequences.
#include <random>
#include <set>

#include "cache/answer_cache.h"
#include "tests/engine/invariants.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

int Chosen(const char* variable, int otherwise) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : otherwise;
}

class RandomSteps : public Service, public testing::WithParamInterface<bool> {
 protected:
  RandomSteps() {
    platform.records = &records;
    OpenCache();
    NoCache = kFalse;
    MatchQuestion = GetParam() ? kTrue : kFalse;
    ChooseAnswerRules();
    boxes.whileOpen = correction.whileOpen = [this] { TakeStep(); };
  }

  std::size_t Below(std::size_t bound) { return random() % bound; }
  template <typename List>
  const auto& OneOf(const List& list) {
    return list[Below(std::size(list))];
  }
  // Every query has a port of its own.
  const std::string& QueryFrom(std::int32_t port) { return queries[static_cast<std::size_t>(port)]; }

  void Ask() {
    const char* const names[] = {"a.example", "A.Example", "b.example", "B.EXAMPLE", "4.3.2.1.in-addr.arpa", ""};
    const auto identifier = static_cast<std::uint16_t>(Below(4));
    const std::string query = QueryFor(OneOf(names), OneOf(std::array{kA, kA, kAaaa}), identifier);
    queries.push_back(query);
    OnClientDatagram(query, "10.0.0.9", static_cast<std::int32_t>(queries.size()) - 1);
  }

  // Late and doubled ones, failures, damaged ones and a stranger's too.
  void Answer() {
    if (onTheWay.empty()) return;
    const auto [server, port, query] = OneOf(onTheWay);
    const int code = OneOf(std::array{0, 0, 0, 2});
    std::string answer = ReplyTo(query, "100", Record(kA, 30), code);
    const bool damaged = Below(6) == 0;
    if (damaged) answer[Below(20)] ^= static_cast<char>(1 << Below(8));
    const bool stranger = Below(10) == 0;
    const bool known = !stranger && IsEnabledServer(server);
    const bool good = !damaged && (!GetParam() || (known && code == 0 && IsPending(query)));
    const std::size_t sent = downstream.sent.size();
    OnServerDatagram(answer, stranger ? "192.0.2.1" : server, port);
    EXPECT_TRUE(!GetParam() || known || downstream.sent.size() == sent) << "a stranger is believed";
    EXPECT_TRUE(!good || FindWaiting(answerRules->KeyOf(query)) == -1) << "a client waits on";
  }
  bool IsPending(const std::string& query) {
    return std::any_of(PendingTable.begin(), PendingTable.begin() + PendingCount,
                       [&](const PendingRequest& request) { return QueryFrom(request.ClientPort) == query; });
  }

  void LetTimePass() {
    clock.now = static_cast<std::int32_t>(static_cast<std::uint32_t>(clock.now) + Below(20000));
    if (Below(200) == 0) clock.now = std::max(clock.now, 2147483647 - static_cast<std::int32_t>(Below(50000)));
    clock.second += OneOf(std::array{0, 1, 20, -2});
  }
  void EditAddress() {
    const char* const texts[] = {"", "10.1.0.1", "10.1.0.2", " 10.1.0.3 ", "10.1.0.03", "1.2.3", "x", "127.0.0.1"};
    correction.answer = static_cast<std::int16_t>(Below(3));
    CommitAddressEdit(static_cast<int>(Below(kServerRows)), OneOf(texts));
  }

  // Also called from within itself, wherever it lets events run or asks the user.
  void TakeStep() {
    if (depth == 3) return;
    ++depth;
    if (Below(2) == 0) events.onNextYield = boxes.whileOpen;
    boxes.answer = OneOf(std::array{BoxAnswer::Ok, BoxAnswer::Cancel});
    const std::size_t step = Below(2000);
    if (step == 0) ResetServerStatistics();
    if (step == 1) ClearStatistics();
    // As after months: ageing is near.
    if (step == 2) TOTALQ = ADNS = 9990;
    while (step == 3 && TotalWinning < 9990 && !ServerAddress[0].empty()) CreditWinner(ServerAddress[0]);
    if (step > 3 && step < 7) ClickCheck3(Below(3) == 0);
    if (step > 6 && step < 10) ConfirmAndDeleteCache();
    for (int left = step == 10 && depth == 1 ? kPendingSlots : 0; left > 0; --left) Ask();
    if (step > 10 && step < 900) Ask();
    if (step >= 900 && step < 1500) Answer();
    if (step >= 1500 && step < 1700) LetTimePass();
    if (step >= 1700 && step < 1800) OnTimer1();
    if (step >= 1800 && step < 1900) EditAddress();
    // The box of a row without a usable address cannot be ticked.
    const int row = static_cast<int>(step % kServerRows);
    if (step >= 1900 && IsServerUsable(row)) SetServerEnabled(row, Below(4) != 0);
    Check();
    --depth;
  }

  void Check() {
    for (const SentDatagram& answer : std::exchange(downstream.sent, {})) {
      EXPECT_TRUE(MayAnswer(answer.message, QueryFrom(answer.port)));
      EXPECT_TRUE(answered.insert(answer.port).second) << "answered twice";
    }
    CheckTables();
    for (const SentDatagram& query : std::exchange(upstream.sent, {})) onTheWay.push_back(query);
    if (onTheWay.size() > 100) onTheWay.erase(onTheWay.begin(), onTheWay.end() - 50);
    for (Trace* const grown : {&trace, &profile.written, &table.calls}) grown->clear();
  }
  void CheckTables() {
    ASSERT_EQ(FaultInTables(), "");
    std::set<std::int32_t> ports;
    for (std::size_t slot = 0; slot < static_cast<std::size_t>(PendingCount); ++slot) {
      const PendingRequest& request = PendingTable[slot];
      EXPECT_TRUE(ports.insert(request.ClientPort).second) << "twice in the table";
      EXPECT_EQ(request.Name, answerRules->KeyOf(QueryFrom(request.ClientPort)));
      EXPECT_NE(request.Waits(), answered.contains(request.ClientPort));
    }
  }

  const int seed = Chosen("QUENVAR_SEED", 1);
  std::mt19937 random{static_cast<unsigned>(seed)};
  FakeRecordStore records;
  std::vector<std::string> queries;
  std::set<std::int32_t> answered;
  std::vector<SentDatagram> onTheWay;
  int depth = 0;
};

TEST_P(RandomSteps, KeepTheTablesWholeAndTheAnswersRight) {
  SCOPED_TRACE("QUENVAR_SEED=" + std::to_string(seed));
  for (int left = Chosen("QUENVAR_STEPS", 20000); left > 0 && !HasFailure(); --left) TakeStep();
}

INSTANTIATE_TEST_SUITE_P(Modes, RandomSteps, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "MatchQuestion" : "Plain"; });

}  // namespace
}  // namespace quenvar
