// Plays events to the service in any order, and looks after each at its tables and at what the clients get.
#pragma once

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <set>

#include "base/query_name.h"
#include "base/text.h"
#include "cache/answer_cache.h"
#include "engine/relay/asked_ports.h"
#include "engine/relay/message_reader.h"
#include "settings/address.h"
#include "settings/statistics_view.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/input.h"

namespace quenvar {

class EventPlayer : public FakeService, private StatisticsView {
 public:
  /// `seed`: of the keys that the cache draws.
  EventPlayer(bool matchQuestion, std::size_t seed) {
    process.random.seed(static_cast<unsigned>(seed % 1000000));
    platform.records = &records;
    OpenCache();
    NoCache = kFalse;
    MatchQuestion = matchQuestion ? kTrue : kFalse;
    ChooseAnswerRules();
    for (std::size_t row = 0; row < 3; ++row) SetServer(row, kServers[row]);
    boxes.whileOpen = correction.whileOpen = [this] { TakeStep(); };
    statisticsView = this;
    process.onSecretNumber = [this](std::uint16_t number) {
      if (FindOldest([&](const PendingRequest& request) { return request.OwnIdentifier == number; }) == -1)
        ports.asked.erase(Bytes16(number));
    };
  }
  ~EventPlayer() {
    static StatisticsView nobody;
    statisticsView = &nobody;
  }

  /// The event that the next bytes of `choices` stand for. Also called from within itself, wherever the service lets
  /// events run or asks the user.
  void TakeStep() {
    if (depth == 3 || choices.AtEnd()) return;
    ++depth;
    if (choices.Below(2) == 0) events.onNextYield = boxes.whileOpen;
    boxes.answer = OneOf({BoxAnswer::Ok, BoxAnswer::Cancel});
    const std::size_t what = choices.Byte();
    if (what < 110) Ask();
    if (what >= 110 && what < 190) Answer();
    if (what >= 190 && what < 215) LetTimePass();
    if (what >= 215 && what < 230) Sweep();
    if (what >= 230 && what < 243) EditAddress();
    // The box of a row without a usable address cannot be ticked.
    const int row = static_cast<int>(what % kServerRows);
    if (what >= 243 && what < 251 && IsServerUsable(row)) SetServerEnabled(row, choices.Below(4) != 0);
    if (what == 251) ResetServerStatistics();
    if (what == 252) ClearStatistics();
    if (what == 253) GrowOld();
    if (what == 254) ClickCheck3(choices.Below(3) == 0);
    if (what == 255 && choices.Below(2) == 0) ConfirmAndDeleteCache();
    UpDateStatistic();
    if (what % 16 == 0) DamageCache();
    for (int left = what == 255 && depth == 1 ? kPendingSlots : 0; left > 0; --left) Ask();
    Check();
    --depth;
  }

  Input choices{nullptr, 0};
  /// What does not hold; empty as long as all is well.
  std::string fault;

 private:
  // The second one answers as 10.1.0.2; the last one is never in a row.
  static inline const std::string kServers[] = {"10.1.0.1", "10.1.0.02", "10.1.0.3", "10.1.0.2", "192.0.2.1"};

  // A copy with nothing behind it, so that reading too far is noticed.
  struct Exact : std::vector<char> {
    explicit Exact(const std::string& text) : std::vector<char>(text.begin(), text.end()) {}
    operator std::string_view() const { return {data(), size()}; }
  };

  void ShowCacheShare(std::int16_t percent) override { Require(percent >= 0 && percent <= 100, "no share"); }
  void ShowServerShare(std::int16_t percent) override { ShowCacheShare(percent); }
  void ShowLostShare(std::int16_t percent) override { ShowCacheShare(percent); }
  void Require(bool holds, const char* otherwise) {
    if (!holds && fault.empty()) fault = otherwise;
  }
  template <typename Choice>
  Choice OneOf(std::initializer_list<Choice> list) {
    return list.begin()[choices.Below(list.size())];
  }
  // Without the letters that tell answers with signatures, "ssss", from others, "dddd".
  std::string FreeText() {
    std::string text = choices.Text();
    for (char& c : text)
      if (c == 's' || c == 'd') c = 'x';
    return text;
  }
  std::string Changed(std::string message) {
    const std::size_t at = choices.Byte();
    if (at < message.size()) message[at] = static_cast<char>(message[at] ^ static_cast<char>(choices.Byte()));
    return message;
  }
  // Every query has a port of its own.
  const std::string& QueryFrom(std::int32_t port) { return queries[static_cast<std::size_t>(port)]; }

  void Ask() {
    const char* const name = OneOf({"a.example", "A.Example", "b.example", "B.EXAMPLE", "4.3.2.1.in-addr.arpa", ""});
    const RecordType type = OneOf({kA, kA, kAaaa});
    std::string query = QueryFor(name, type, static_cast<std::uint16_t>(choices.Below(4)));
    const std::size_t strange = choices.Below(16);
    if (choices.Below(2) == 0) query = WithOpt(query, OneOf({0u, 512u, 700u, 4096u}), OneOf({0u, 0x8000u}));
    if (strange == 1) query = Changed(query);
    if (strange == 2) query = FreeText();
    // A client that waits may ask again.
    if (strange == 3 && MatchQuestion != kFalse && PendingCount > 0) {
      const PendingRequest& request = PendingTable[choices.Below(static_cast<std::size_t>(PendingCount))];
      if (request.Waits() && !IsAskedPortNumber(request.ClientPort)) return AskFrom(request.ClientPort);
    }
    queries.push_back(query);
    forwardedAs.emplace_back();
    unanswered.insert(static_cast<std::int32_t>(queries.size()) - 1);
    mayForget = mayForget || PendingCount == kPendingSlots;
    AskFrom(static_cast<std::int32_t>(queries.size()) - 1);
  }
  void AskFrom(std::int32_t port) { OnClientDatagram(Exact(QueryFrom(port)), "10.0.0.9", port); }
  void NoteIdentifiers() {
    for (std::size_t slot = 0; slot < static_cast<std::size_t>(PendingCount); ++slot) {
      const auto port = static_cast<std::size_t>(PendingTable[slot].ClientPort);
      const std::uint16_t identifier = PendingTable[slot].OwnIdentifier;
      const std::size_t before = std::exchange(forwardedFor[identifier], port);
      forwardedAs[before].clear();  // a late answer could not be told from one to the new query
      forwardedAs[port] = Bytes16(identifier);
    }
  }

  // Whether a row with this address is enabled, or disabled.
  static bool HasServer(const std::string& address, bool enabled) {
    for (std::size_t row = 0; row < kServerRows; ++row)
      if ((ServerEnabled[row] != kFalse) == enabled && IsSameAddress(ServerAddress[row], address)) return true;
    return false;
  }

  // The question that answers to `query` are fitted to; what already is an answer asks none.
  static std::optional<Question> QuestionToMatch(const std::string& query) {
    const auto question = ReadQuestion(query);
    const bool asks = MatchQuestion != kFalse && question && !IsResponse(query) && ReadAbility(query);
    return asks ? question : std::nullopt;
  }

  // Whether a client that has asked `query` may be given `answer`.
  static bool MayAnswer(const std::string& answer, const std::string& query) {
    const auto question = QuestionToMatch(query);
    if (MatchQuestion != kFalse && answer.substr(0, 2) != query.substr(0, 2)) return false;
    if (!question)
      return MatchQuestion != kFalse || EqualWithoutCase(ParseQueryName(answer), ParseQueryName(query)) ||
             ParseQueryName(query) == kUnreadableName;
    const AskerAbility ability = *ReadAbility(query);
    if (answer.size() > ability.answerBytes || (HasOpt(answer) && !ability.speaksEdns)) return false;
    const std::size_t end = question->nameEnd + 4;
    return answer.size() >= end &&
           answer.find(ability.wantsSignatures ? "dddd" : "ssss") != end + Record(kA, 0, "").size() &&
           answer.substr(kHeaderBytes, end - kHeaderBytes) == query.substr(kHeaderBytes, end - kHeaderBytes);
  }

  // Late and doubled ones, failures, damaged ones and a stranger's too.
  void Answer() {
    if (queries.empty()) return;
    NoteIdentifiers();
    const std::size_t asker = queries.size() - 1 - choices.Below(std::min<std::size_t>(queries.size(), 200));
    const bool matches = MatchQuestion != kFalse;
    // As it is forwarded.
    std::string query = queries[asker];
    if (matches && forwardedAs[asker].empty()) return;
    if (matches) query.replace(0, std::min<std::size_t>(query.size(), 2), forwardedAs[asker]);
    const int code = OneOf({0, 0, 0, 2});
    const auto ability = ReadAbility(query);
    const bool edns = ability && ability->speaksEdns;
    const std::string data(OneOf({4u, 4u, 300u, 900u}), ability && ability->wantsSignatures ? 's' : 'd');
    const std::string opt = edns ? '\0' + Bytes16(kOpt) + Bytes16(1232) + Bytes32(0) + Bytes16(0) : std::string();
    std::string answer = query.size() < kHeaderBytes ? query : Reply(query, Record(kA, 30, data) + opt, edns, code);
    const std::size_t strange = choices.Below(16);
    if (strange == 1) answer = Changed(answer);
    if (strange == 2) answer = FreeText();
    if (strange == 3 && query.size() >= kHeaderBytes) answer = ReplyTo(query, "123", FreeText(), code);
    const std::string& server = kServers[choices.Below(std::size(kServers))];
    const std::int32_t port = OneOf({53, 53, 53, 54});
    const bool known =
        port == 53 && HasServer(server, true) && (!matches || ports.WasAsked(forwardedAs[asker], server));
    const auto waits = [&] {
      const int index = FindOldest(
          [&](const PendingRequest& request) { return request.ClientPort == static_cast<std::int32_t>(asker); });
      return index != -1 && PendingTable[static_cast<std::size_t>(index)].Waits();
    };
    const bool settles =
        !matches || (known && code == 0 && (strange == 0 || strange > 3) && answer.size() > kHeaderBytes && waits() &&
                     asker >= queriesBeforeEdit && !HasServer(server, false));
    const std::string key = answerRules->KeyOf(answer);
    const auto before = std::pair(downstream.sent.size(), records.records.size());
    records.writesLeft = OneOf({1000, 1000, 1000, static_cast<int>(choices.Below(4))});
    ports.Arrive(Exact(answer), server, port, OnServerDatagram);
    Require(!matches || known || strange == 1 || strange == 2 ||
                std::pair(downstream.sent.size(), records.records.size()) == before,
            "a stranger is believed");
    Require(!settles || (matches ? !waits() : FindWaiting(key) == -1), "a client waits on");
    const bool stores = !matches && NoCache == kFalse && key.size() <= 255;
    Require(!stores || (records.writesLeft < 0 ? records.records == records.before : CacheLookup(key) == answer),
            "stored in part or not");
  }
  static std::string Reply(const std::string& query, const std::string& records, bool edns, int code) {
    const std::size_t end = ReadQuestion(query) ? ReadQuestion(query)->end : query.size();
    return ReplyTo(query.substr(0, end), edns ? "101" : "100", records, code);
  }

  // Cut chains, rings, and codes that mean nothing. The question in front stays, so that the answer is still one to it.
  void DamageCache() {
    if (records.records.empty() || choices.Below(20) == 0) return records.records.clear();
    const auto record = std::next(records.records.begin(), static_cast<int>(choices.Byte() % records.records.size()));
    std::string& piece = record->second;
    piece.resize(std::min(piece.size(), 60 + choices.Byte()));
    if (choices.Below(2) == 0 && piece.size() > 66)
      piece.replace(piece.size() - 5, 5, records.records.rbegin()->first, 0, 5);
    piece[0] = OneOf({'\0', '\1', '\1', '\2'});
    if (choices.Below(3) == 0) records.records.erase(record);
  }
  void LetTimePass() {
    const std::size_t milliseconds = choices.Byte() << choices.Below(24);
    clock.now = static_cast<std::int32_t>(static_cast<std::uint32_t>(clock.now) + milliseconds);
    clock.second += OneOf({0, 1, 20, -2});
    if (portTimer.running) OnPortTimer();
  }
  void EditAddress() {
    queriesBeforeEdit = queries.size();
    correction.answer = static_cast<std::int16_t>(choices.Below(3));
    const char* const text = OneOf({"", "10.1.0.1", "10.1.0.2", " 10.1.0.3 ", "10.1.0.03", "1.2.3", "x", "127.0.0.1"});
    CommitAddressEdit(static_cast<int>(choices.Below(kServerRows)), text);
  }
  void Sweep() {
    mayForget = true;
    OnTimer1();
  }
  // As after months: ageing is near.
  void GrowOld() {
    TOTALQ = ADNS = 9990;
    if (ServerAddress[0].empty()) return;
    ServerWinning[0] = static_cast<std::int16_t>(ServerWinning[0] + 9990 - TotalWinning);
    TotalWinning = 9990;
  }

  void Check() {
    for (const SentDatagram& answer : std::exchange(downstream.sent, {})) {
      Require(MayAnswer(answer.message, QueryFrom(answer.port)), "an answer to another question");
      Require(answered.insert(answer.port).second, "answered twice");
    }
    CheckCounters();
    std::set<std::int32_t> inTable;
    std::set<std::pair<AskedPort, std::uint16_t>> identifiers;
    for (std::size_t slot = 0; slot < static_cast<std::size_t>(PendingCount); ++slot) {
      const PendingRequest& request = PendingTable[slot];
      Require(inTable.insert(request.ClientPort).second, "twice in the table");
      Require(MatchQuestion == kFalse || identifiers.insert({0, request.OwnIdentifier}).second,
              "two requests under way with one identifier");
      Require(request.Name == answerRules->KeyOf(QueryFrom(request.ClientPort)), "another name in the table");
      Require(request.Waits() != answered.contains(request.ClientPort), "waits although answered, or the reverse");
    }
    CheckThatNobodyIsForgotten(inTable);
    upstream.sent.clear();
    table.answering.clear();
    for (const auto& port : ports.ports) port->sent.clear();
    for (Trace* const grown : {&trace, &profile.written}) grown->clear();
  }

  // Only the sweep and a full table give clients up.
  void CheckThatNobodyIsForgotten(const std::set<std::int32_t>& inTable) {
    std::erase_if(unanswered, [&](std::int32_t port) {
      const bool gone = !answered.contains(port) && !inTable.contains(port);
      Require(!gone || mayForget, "a client is forgotten");
      return gone || answered.contains(port);
    });
    mayForget = mayForget && depth > 1;
  }

  void CheckCounters() {
    Require(PendingCount >= 0 && PendingCount <= kPendingSlots, "PendingCount out of bounds");
    Require(CountWaiting() <= TOTALQ, "more requests wait than were received");
    Require(TOTALQ <= 10000 && ADNS >= 0 && NOTANSWERED >= 0, "a counter out of bounds");
    Require(std::accumulate(ServerWinning.begin(), ServerWinning.end(), 0) == TotalWinning, "credits do not add up");
    for (std::size_t row = 0; row < kServerRows; ++row)
      Require(!ServerAddress[row].empty() || (ServerEnabled[row] == kFalse && ServerWinning[row] == 0),
              "empty row in use");
  }

  FakeRecordStore records;
  std::vector<std::string> queries;
  std::vector<std::string> forwardedAs;  // the identifiers of the queries as they were forwarded
  std::map<std::uint16_t, std::size_t> forwardedFor;
  std::set<std::int32_t> answered;
  std::set<std::int32_t> unanswered;  // as far as the last check knew
  bool mayForget = false;
  std::size_t queriesBeforeEdit = 0;  // a row with another address no longer answers for the one before
  int depth = 0;
};

}  // namespace quenvar
