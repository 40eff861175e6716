// A month of the whole program in minutes, with the option MATCHQUESTION.
#include <poll.h>
#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <future>
#include <iostream>
#include <list>
#include <random>
#include <set>

#include "program.h"
#include "program_clock.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int kDays = 30;
/// At the busy speed an answer may take 400 ms of our time before its query is given up, at the quiet one there are no
/// queries, and the program still does all that it has to do every ten seconds.
constexpr int kBusySpeed = 100, kQuietSpeed = 10000;
constexpr seconds kBusyTime = 10min, kTroubleTime = 59min, kDay = 24h, kYears = 3650 * kDay;

std::string KeyOf(const std::string& message) { return message.substr(0, 2) + Question(message); }

std::string Name(const std::string& kind, int number) { return kind + std::to_string(number) + ".test"; }

/// An answer of one address that has the right type and size, and lives no longer than it should.
bool IsRight(std::string answer) {
  constexpr std::size_t kMinute = 60, kFromLife = 10, kFromLifeOfLong = 22;
  const bool isLong = Question(answer)[Question(answer).size() - 3] != kA;
  const std::size_t life = answer.size() - (isLong ? kFromLifeOfLong : kFromLife);
  if (life < answer.size() && answer.substr(life, 4) <= Bytes32(kMinute)) answer.replace(life, 4, Bytes32(kMinute));
  return answer == AnswerTo(answer);
}

/// The next whole message of a connection; empty at its end.
std::string NextMessage(const Socket& connection) {
  const std::string size = Receive(connection, 2);
  if (size.size() < 2) return "";
  const std::string message = Receive(connection, static_cast<unsigned char>(size[1]));
  return message.size() == static_cast<unsigned char>(size[1]) ? message : "";
}

/// A name server's side of a connection: it closes at once, after an answer, half a second after it, in the middle of
/// one or never.
void Serve(const Socket& connection, int way) {
  for (std::string query; way != 0 && !(query = NextMessage(connection)).empty();) {
    const std::string answer = AnswerTo(query);
    const std::string message = Bytes16(static_cast<std::uint32_t>(answer.size())) + answer;
    if (send(*connection, message.data(), message.size() / (way == 3 ? 2 : 1), MSG_NOSIGNAL) < 0 || way % 2 == 1)
      return;
    if (way == 2) return std::this_thread::sleep_for(500ms / kBusySpeed);
  }
}

class Month : public LabTest {
 protected:
  // Settings and cache are on a disk of their own, which can be filled.
  Month() {
    const fs::path disk = home_.ProgramFile("");
    Require(mount("disk", disk.c_str(), "tmpfs", 0, "size=96m") == 0, "a small disk");
    fs::copy_file(kDirectory / "quenvar", home_.ProgramFile("quenvar"));
    fs::remove_all(home_.root / "config");
    fs::create_directory_symlink(disk, home_.root / "config");
    WriteFile(home_.SettingsFile(), SettingsFor({1, 2, 3}, "No", kMatchQuestion));
    auto environment = FastClock(kBusySpeed);
    environment["TEST_CLOCK_PLAN"] = clock_.kFile;
    program_.emplace(home_, StartOptions{.environment = environment});
  }

  int Random(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  void Ask() {
    const auto client = static_cast<std::size_t>(++asked_) % clients_.size();
    const std::string name = Random(2) == 0 ? Name("old-", Random(500)) : Name("new-", asked_);
    const std::string query = Query(Random(65536), name, Random(2) == 0 ? kA : kAaaa);
    awaited_[client].insert(KeyOf(query));
    clients_[client].Ask(query);
  }
  void ServeAndTake() {
    for (pollfd arrival = {listening_ ? *listening_ : -1, POLLIN, 0}; poll(&arrival, 1, 0) == 1;)
      std::thread(Serve, Accept(listening_), Random(5)).detach();
    while (const auto query = servers_.Next(kNow)) {
      const Way way = ways_[static_cast<std::size_t>(query->local.back() - '1')];
      if (way == kLies) servers_.Answer(*query, AnswerTo(Query(0, "lie.test")).replace(0, 2, query->bytes, 0, 2));
      if (way <= kLies) servers_.Answer(*query, AnswerTo(query->bytes));
      if (way == kFails) servers_.Answer(*query, ReplyTo(query->bytes, "000", "", 2));
    }
    for (std::size_t client = 0; client < clients_.size(); ++client)
      while (const auto answer = clients_[client].Receive(kNow)) Take(awaited_[client], answer->bytes);
  }
  void Take(std::multiset<std::string>& awaited, const std::string& answer) {
    const auto question = awaited.find(KeyOf(answer));
    const bool failure = (answer[3] & 15) == 2;
    if (question == awaited.end() || !(failure || IsRight(answer))) return void(++wrong_);
    awaited.erase(question);
    ++(failure ? failed_ : answered_);
  }

  /// A client that asks up to three questions over TCP and then stays, closes, closes its sending side, or sends on and
  /// reads nothing.
  void Visit(int number, std::list<Socket>& staying) {
    const Socket client = Connect();
    for (int question = 0; question < number / 5 % 4; ++question) {
      const std::string query = Query(number, Name("tcp-", number % 99));
      send(*client, (Bytes16(static_cast<std::uint32_t>(query.size())) + query).data(), query.size() + 2, MSG_NOSIGNAL);
      const std::string answer = NextMessage(client);
      if (answer.empty()) break;
      ++tcpAnswered_;
      if (KeyOf(answer) != KeyOf(query) || !IsRight(answer)) ++wrong_;
    }
    const std::string much(200'000, 'x');
    if (number % 5 == 1) shutdown(*client, SHUT_WR);
    if (number % 5 == 2) send(*client, much.data(), much.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (number % 5 < 4) staying.push_back(client);
  }
  /// Every second day nobody takes TCP connections upstream.
  void BeBusy(int day) {
    const nanoseconds end = clock_.Now() + kBusyTime;
    if (day % 2 == 0) listening_ = Listen(Place::Upstream);
    const auto visits = std::async(std::launch::async, [&] {
      std::list<Socket> staying;
      for (int number = 0; clock_.Now() < end; std::this_thread::sleep_for(10ms)) Visit(++number, staying);
    });
    for (; clock_.Now() < end; std::this_thread::sleep_for(4ms)) {
      for (int question = 0; question < 8; ++question) Ask();
      ServeAndTake();
      mostDescriptors_ = std::max(mostDescriptors_, Descriptors());
    }
    while (clock_.Now() < end + 40s || visits.wait_for(0s) != std::future_status::ready) ServeAndTake();
    listening_.reset();
    for (auto& awaited : awaited_) awaited.clear();
  }

  static seconds JumpOf(int day) { return day % 5 == 2 ? -kDay : day % 5 == 3 ? kYears : 0s; }
  /// An hour with a full disk, a clock that has jumped or silent name servers; on other days one at least answers.
  void HaveTrouble(int day) {
    for (Way& way : ways_) way = static_cast<Way>(day % 5 == 4 ? kSilent : Random(kSilent + 1));
    if (day % 5 != 4) ways_[static_cast<std::size_t>(day % 3)] = static_cast<Way>(Random(kFails));
    if (day % 5 == 1) Output("dd if=/dev/zero of=" + home_.ProgramFile("full").string());
    clock_.Go(kBusySpeed, JumpOf(day));
    const nanoseconds end = clock_.Now() + kTroubleTime;
    const int before = asked_ - answered_ - failed_;
    BeBusy(day);
    if (day % 5 != 4) lost_ += asked_ - answered_ - failed_ - before;
    clock_.GoUntil(end, kQuietSpeed);
    fs::remove(home_.ProgramFile("full"));
    clock_.Go(kBusySpeed, -JumpOf(day));
  }

  int Descriptors() const {
    const fs::directory_iterator all("/proc/" + std::to_string(program_->Id()) + "/fd");
    return static_cast<int>(std::distance(begin(all), end(all)));
  }
  int MemoryKiB() const {
    const std::string status = ReadFile("/proc/" + std::to_string(program_->Id()) + "/status");
    return std::stoi(status.substr(status.find("RssAnon:") + 8));
  }
  std::uintmax_t CacheBytes() const {
    return fs::file_size(home_.ProgramFile("DNSCACHE.MDB")) + fs::file_size(home_.ProgramFile("DNSCACHE.MDB-wal"));
  }
  void ShowFigures(int day) const {
    std::cout << "day " << day << ": " << asked_ << " asked, " << answered_ << " answered, " << failed_ << " failures, "
              << lost_ << " lost, " << tcpAnswered_ << " over TCP, " << wrong_ << " wrong; " << MemoryKiB() << " KiB, "
              << Descriptors() << " descriptors, at most " << mostDescriptors_ << ", cache " << CacheBytes()
              << " bytes, CPU " << program_->CpuSeconds() << " s\n";
  }

  void DropWhatIsLeft() const {
    while (client_.Receive(kNow) || servers_.Next(kNow)) continue;
  }
  /// An answer that lives for four hours becomes a stored one.
  void Store(const std::string& name) const {
    std::string answer = AnswerTo(Query(1, name));
    answer.replace(answer.size() - 10, 4, Bytes32(4 * 3600));
    DropWhatIsLeft();
    EXPECT_EQ(Exchange(Query(1, name), answer), answer);
  }
  /// How long a stored answer takes while no name server answers.
  nanoseconds Hit(const std::string& name) const {
    DropWhatIsLeft();
    const auto asked = steady_clock::now();
    client_.Ask(Query(2, name));
    EXPECT_EQ(client_.Answer().substr(0, 2), Bytes16(2)) << name;
    return steady_clock::now() - asked;
  }
  /// How many of so many queries get an answer when servers answer after all have come.
  std::size_t AnsweredOf(std::size_t count) const {
    DropWhatIsLeft();
    for (std::size_t number = 0; number < count; ++number)
      client_.Ask(Query(static_cast<int>(number), Name("burst-", static_cast<int>(number))));
    for (const Datagram& query : servers_.Next(3 * count)) servers_.Answer(query, AnswerTo(query.bytes));
    std::size_t answered = 0;
    while (client_.Receive(500ms)) ++answered;
    return answered;
  }

  enum Way { kAnswers, kLies, kFails, kSilent };
  ProgramClock clock_{kBusySpeed};
  std::optional<Program> program_;
  std::mt19937 random_{53};
  std::array<Client, 8> clients_;
  std::array<std::multiset<std::string>, 8> awaited_;  ///< identifier and question of each query
  std::array<Way, 3> ways_ = {};
  Socket listening_;
  int asked_ = 0, answered_ = 0, failed_ = 0, lost_ = 0, mostDescriptors_ = 0;
  std::atomic<int> wrong_ = 0, tcpAnswered_ = 0;
};

TEST_F(Month, OfTroublesEndsWithinBoundsAndWithFastHits) {
  ASSERT_TRUE(RoundTrip());
  const int idle = Descriptors();
  for (int day = 0; day < kDays; ++day) {
    const nanoseconds end = clock_.Now() + kDay;
    Store(Name("kept-", day));
    HaveTrouble(day);
    Hit(Name("kept-", day));
    clock_.GoUntil(end, kQuietSpeed);
    clock_.Go(kBusySpeed);
    ShowFigures(day);
    EXPECT_EQ(wrong_, 0);
    EXPECT_LE(Descriptors(), idle);
    EXPECT_LT(mostDescriptors_, 200);
    EXPECT_LT(MemoryKiB(), 48 << 10);
    EXPECT_LT(CacheBytes(), 8u << 20);
  }
  EXPECT_LE(lost_ + failed_, asked_ / 200);
  EXPECT_GT(tcpAnswered_, 50 * kDays);
  clock_.Go(1);
  EXPECT_EQ(AnsweredOf(400), 300u) << "as many as may wait";
  Store("hit.test");
  std::array<nanoseconds, 101> waits;
  for (nanoseconds& wait : waits) wait = Hit("hit.test");
  std::sort(waits.begin(), waits.end());
  std::cout << "a hit takes " << waits[50] / 1us << " us, at most " << waits[100] / 1us << " us\n";
  EXPECT_LT(waits[50], 1ms);
  program_->Terminate();
  EXPECT_EQ(home_.Setting("DNS_2_ENABLED"), "Yes");
  EXPECT_EQ(Output("sqlite3 " + home_.ProgramFile("DNSCACHE.MDB").string() + " 'pragma integrity_check'"), "ok\n");
}

}  // namespace
}  // namespace quenvar::lab
