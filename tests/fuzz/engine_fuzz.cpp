// Whatever clients and name servers send, in whatever order and at whatever time: queries are forwarded as they came,
// and a client gets nothing but answers to what it has asked, each query at most one.
#include <set>
#include <vector>

#include "base/text.h"
#include "cache/answer_cache.h"
#include "tests/engine/invariants.h"
#include "tests/fakes/dns_message.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/fake_service.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

using namespace quenvar;

namespace {

// The first two are enabled at first, and the second one answers as the fourth; the last one is in no row.
const std::string kServers[] = {"10.1.0.1", "10.1.0.02", "10.1.0.3", "10.1.0.2", "192.0.2.1"};

// A copy with nothing behind it, so that reading too far is noticed.
struct Exact : std::vector<char> {
  explicit Exact(const std::string& text) : std::vector<char>(text.begin(), text.end()) {}
  operator std::string_view() const { return {data(), size()}; }
};

struct Query {
  std::string bytes;
  bool answered = false;
};

struct Engine : FakeService {
  Engine(bool matchQuestion, std::size_t seed) {
    // No input can know the keys that the cache will draw.
    process.random.seed(static_cast<unsigned>(seed % 1000000));
    platform.records = &store;
    OpenCache();
    NoCache = kFalse;
    MatchQuestion = matchQuestion ? kTrue : kFalse;
    ChooseAnswerRules();
    for (std::size_t row = 0; row < 3; ++row) SetServer(row, kServers[row]);
    ServerEnabled[2] = kFalse;
  }

  // Every query has a port of its own.
  void Ask(const std::string& query) {
    queries.push_back({query});
    OnClientDatagram(Exact(query), "10.0.0.9", static_cast<std::int32_t>(queries.size()) - 1);
    for (const SentDatagram& datagram : upstream.sent) Require(datagram.message == query && datagram.port == 53);
    upstream.sent.clear();
    CheckSent();
  }

  void Answer(const std::string& answer, const std::string& server, std::int32_t port) {
    const std::size_t stored = store.records.size();
    fromServers.insert(answer);
    OnServerDatagram(Exact(answer), server, port);
    if (MatchQuestion == kFalse) {
      const std::string name = ParseQueryName(answer);
      Require(FindWaiting(name) == -1 && (name.size() > 255 || CacheLookup(name) == answer));
    } else if (port != 53 || !IsEnabledServer(server) || !IsAskedFor(answer)) {
      Require(downstream.sent.empty() && store.records.size() == stored);
    }
    for (const SentDatagram& datagram : downstream.sent)
      Require(MatchQuestion == kFalse || HasSameQuestion(answer, QueryOf(datagram).bytes));
    Require(upstream.sent.empty());
    CheckSent();
  }

  Query& QueryOf(const SentDatagram& datagram) { return queries[static_cast<std::size_t>(datagram.port)]; }

  // The name is enough where there is more or less than one question.
  static bool HasSameQuestion(const std::string& answer, const std::string& query) {
    const auto question = ReadQuestion(query);
    if (!question) return EqualWithoutCase(ParseQueryName(answer), ParseQueryName(query));
    const std::size_t size = question->nameEnd + 4 - kHeaderBytes;
    return answer.size() >= kHeaderBytes &&
           EqualWithoutCase(answer.substr(kHeaderBytes, size), query.substr(kHeaderBytes, size));
  }

  bool IsAskedFor(const std::string& answer) const {
    return answer.size() >= kHeaderBytes && IsResponse(answer) &&
           std::any_of(queries.begin(), queries.end(), [&](const Query& query) {
             return answer.substr(0, 2) == query.bytes.substr(0, 2) && HasSameQuestion(answer, query.bytes);
           });
  }

  void CheckSent() {
    for (const SentDatagram& datagram : downstream.sent) {
      Query& query = QueryOf(datagram);
      Require(!std::exchange(query.answered, true) && MayAnswer(datagram.message, query.bytes));
      Require(QuestionToMatch(query.bytes) || fromServers.contains(datagram.message));
    }
    downstream.sent.clear();
  }

  FakeRecordStore store;
  std::vector<Query> queries;
  std::set<std::string> fromServers;
  int bursts = 0;
};

std::string Changed(std::string message, Input& input) {
  const std::size_t at = input.Byte();
  if (at < message.size()) message[at] = static_cast<char>(message[at] ^ static_cast<char>(input.Byte()));
  return message;
}

std::string TakeReply(const std::string& query, Input& input) {
  if (query.size() < kHeaderBytes) return query;
  const std::size_t counts = input.Byte();
  const std::string digits{static_cast<char>('0' + counts % 4), static_cast<char>('0' + counts / 4 % 4),
                           static_cast<char>('0' + counts / 16 % 4)};
  return ReplyTo(query, digits, input.Text(), static_cast<int>(input.Below(8)));
}

void LetTimePass(Engine& engine, Input& input) {
  const std::size_t milliseconds = input.Byte() << input.Below(24);
  engine.clock.now = static_cast<std::int32_t>(static_cast<std::uint32_t>(engine.clock.now) + milliseconds);
  engine.clock.second += static_cast<std::int64_t>(milliseconds / 1000);
}

void TakeStep(Engine& engine, Input& input) {
  const std::size_t what = input.Below(8);
  const std::size_t who = input.Byte();
  const std::string& server = kServers[who % 5];
  const std::int32_t port = who < 240 ? 53 : 54;
  const std::string query = engine.queries.empty() ? "" : engine.queries[who % engine.queries.size()].bytes;
  if (what == 0) engine.Ask(input.Text());
  if (what == 1) engine.Ask(Changed(query, input));
  if (what == 2) engine.Answer(input.Text(), server, port);
  if (what == 3) engine.Answer(TakeReply(query, input), server, port);
  if (what == 4) engine.Answer(Changed(TakeReply(query, input), input), server, port);
  if (what == 5) LetTimePass(engine, input);
  if (what == 6) OnTimer1();
  if (what == 7 && who < 128) SetServerEnabled(static_cast<int>(who % 3), who % 2 == 0);
  // Two of these fill the table; more would only take time.
  if (what == 7 && who >= 128 && engine.bursts++ < 2)
    for (int left = 150; left > 0; --left) engine.Ask(query);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Input input(data, size);
  Engine engine(input.Below(2) == 1, std::hash<std::string_view>()({data, size}));
  for (int steps = 0; steps < 64 && !input.AtEnd(); ++steps) {
    TakeStep(engine, input);
    Require(FaultInTables().empty());
  }
  return 0;
}
