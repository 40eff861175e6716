#include "soak.h"

#include <cstdlib>

namespace quenvar::lab {
namespace fs = std::filesystem;

namespace {

using namespace std::string_literals;
using Clock = std::chrono::steady_clock;

/// Ends every query of the traffic, behind all that the program reads, and is followed by four bytes of its own.
const std::string kMark = "soak";
constexpr std::size_t kSerialBytes = 4;
constexpr std::size_t kTimeBytes = 4;
constexpr std::size_t kLongestAnswer = 1200;
/// So few that clients who ask at the same time share them.
constexpr int kIdentifiers = 16;

std::string SerialOf(const std::string& query) {
  const std::size_t mark = query.size() - std::min(query.size(), kMark.size() + kSerialBytes);
  return query.substr(mark).starts_with(kMark) ? query.substr(mark + kMark.size()) : "";
}

/// An answer without what a cache may change: its identifier, and the time to live of its record.
std::string Content(const std::string& answer) {
  const std::size_t time = 12 + Question(answer).size() + 6;
  return answer.size() < time + kTimeBytes ? answer : answer.substr(2, time - 2) + answer.substr(time + kTimeBytes);
}

/// The true answer to a query of the traffic.
std::string TrueAnswer(const std::string& query) {
  const std::string question = Question(query);
  std::string data = question;
  data.resize(std::hash<std::string>{}(question) % kLongestAnswer, question[3]);
  return ReplyTo(query.substr(0, 12 + question.size()), "100", Record(kTxt, 60, data));
}

/// Follows every chain from its name. Prints whether the file is sound, how many records belong to no chain, how many
/// chains break off, and how many there are.
const std::string kFollowChains = R"(
  WITH RECURSIVE reached(name, value) AS (
    SELECT IPNAME, IPNUMBER FROM ipcache WHERE IPNAME LIKE '%.TEST%'
    UNION SELECT IPNAME, IPNUMBER FROM reached JOIN ipcache
      ON substr(value, 1, 1) = x'01' AND IPNAME = upper(CAST(substr(value, -5) AS TEXT))),
  counts(records, ends, names) AS (
    SELECT count(*), count(*) FILTER (WHERE substr(value, 1, 1) = x'00'), count(*) FILTER (WHERE name LIKE '%.TEST%')
    FROM reached)
  SELECT (SELECT group_concat(integrity_check) FROM pragma_integrity_check),
    (SELECT count(*) FROM ipcache) - records, names - ends, names FROM counts)";

}  // namespace

int Size(int full) {
  const char* percent = std::getenv("QUENVAR_SOAK_PERCENT");
  return percent == nullptr ? full : std::max(1, static_cast<int>(full / 100.0 * std::atof(percent)));
}

std::string Preload(const std::string& name) { return QUENVAR_PRELOADS + name + ".so"; }

int Memory(const Program& program) {
  const std::string status = ReadFile("/proc/" + std::to_string(program.Id()) + "/status");
  const std::string label = "RssAnon:";
  return std::stoi(status.substr(status.find(label) + label.size()));
}

int OpenDescriptors(const Program& program) {
  const fs::directory_iterator descriptors("/proc/" + std::to_string(program.Id()) + "/fd");
  return static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
}

CacheContent ReadCache(const Home& home) {
  const fs::path copy = kDirectory / "copy.mdb";
  for (const std::string companion : {"", "-wal", "-shm"}) fs::remove(copy.string() + companion);
  for (const std::string companion : {"", "-wal"})
    if (fs::exists(home.ProgramFile("DNSCACHE.MDB" + companion)))
      fs::copy_file(home.ProgramFile("DNSCACHE.MDB" + companion), copy.string() + companion);
  WriteFile(kDirectory / "question.sql", kFollowChains);
  const std::string found = Output("sqlite3 " + copy.string() + " </mnt/question.sql");
  const bool whole = found.starts_with("ok|0|0|");
  return {.fault = whole ? "" : "soundness|lost records|broken chains|names: " + found,
          .names = whole ? std::stoul(found.substr(7)) : 0};
}

void Soak::UseOptions(const std::string& options) {
  WriteFile(home_.SettingsFile(), SettingsFor({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, "No", options));
  matchesQuestion_ = options.find("MATCHQUESTION=Yes") != std::string::npos;
}

// The name belongs to this client in every second question, so that it shows when another one gets the answer.
void Soak::Ask() {
  const int client = Random(static_cast<int>(askers_.size()));
  Asker& asker = askers_[static_cast<std::size_t>(client)];
  const std::string owner = Random(2) == 0 ? "all" : "client-" + std::to_string(client);
  const std::string name = std::to_string(Random(manners_.names)) + "." + owner + ".test";
  const std::string query = Query(Random(kIdentifiers), name, kTxt) + kMark + Bytes32(static_cast<unsigned>(++asked_));
  if (Random(1000) < manners_.lostPerMille) silent_.insert(SerialOf(query));
  unseen_.insert(SerialOf(query));
  ++asker.awaited[KeyOf(query)];
  asker.socket.Ask(query);
}

void Soak::Serve(const Datagram& query) {
  const std::string serial = SerialOf(query.bytes);
  unseen_.erase(serial);
  if (serial.empty() || silent_.contains(serial)) return;
  for (int copies = Random(100) < manners_.doubledPercent ? 2 : 1; copies > 0; --copies) {
    const auto delay = std::chrono::microseconds(Random(1 + 1000 * static_cast<int>(manners_.longestDelay.count())));
    later_.emplace(Clock::now() + delay, query);
  }
}

void Soak::SendWhatIsDue() {
  for (; !later_.empty() && later_.begin()->first <= Clock::now(); later_.erase(later_.begin()))
    servers_.Answer(later_.begin()->second, TrueAnswer(later_.begin()->second.bytes));
}

std::string Soak::KeyOf(const std::string& message) const {
  return (matchesQuestion_ ? message.substr(0, 2) : "") + Question(message);
}

void Soak::Check(Asker& asker, const std::string& answer) {
  const auto awaited = asker.awaited.find(KeyOf(answer));
  const std::string query = Query(0, "", kTxt).substr(0, 12) + Question(answer);
  if (awaited == asker.awaited.end() || Content(answer) != Content(TrueAnswer(query))) {
    ++wrong_;
    return;
  }
  ++answered_;
  if (--awaited->second == 0) asker.awaited.erase(awaited);
}

void Soak::ServeAndTakeAnswers() {
  while (const auto query = servers_.Next(kNow)) {
    Serve(*query);
    SendWhatIsDue();
  }
  SendWhatIsDue();
  for (Asker& asker : askers_)
    while (const auto answer = asker.socket.Receive(kNow)) Check(asker, answer->bytes);
}

void Soak::AskAndServe(int count) {
  unseen_.clear();
  for (int question = 0; question < count; ++question) Ask();
  ASSERT_TRUE(Eventually([&] {
    ServeAndTakeAnswers();
    return unseen_.empty() && later_.empty();
  })) << unseen_.size()
      << " of " << count << " queries reach no server";
}

// The exchange at the end stands behind all others in the program's sockets, so that the next questions find its table
// empty but for those that are lost.
void Soak::AskAndAnswer(int count) {
  ASSERT_NO_FATAL_FAILURE(AskAndServe(count));
  ASSERT_TRUE(RoundTrip());
  ServeAndTakeAnswers();
}

void Soak::AskFor(std::chrono::milliseconds duration) {
  for (const auto end = Clock::now() + duration; Clock::now() < end && !HasFatalFailure();) AskAndAnswer(20);
  for (int question = 0; question < 100; ++question) Ask();
  for (const auto end = Clock::now() + std::chrono::milliseconds(Random(30)); Clock::now() < end;)
    ServeAndTakeAnswers();
  later_.clear();
}

std::string Soak::Figures() const {
  return std::to_string(asked_) + " asked, " + std::to_string(answered_) + " answered, " +
         std::to_string(silent_.size()) + " lost upstream, " + std::to_string(wrong_) + " wrong";
}

bool Soak::HasRoomFor(int requests) {
  for (int request = 1; request < requests; ++request) {
    client_.Ask(Query(request, "room-" + std::to_string(++rooms_) + ".test"));
    servers_.Next();  // so that no server's socket overflows
    while (servers_.Next(kNow)) continue;
  }
  return RoundTrip();
}

}  // namespace quenvar::lab
