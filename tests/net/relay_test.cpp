// What the clients and the name servers see of the program on the wire, with and without its cache.
#include <sys/mount.h>

#include "program.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using Relay = LabTest;

TEST_F(Relay, EveryEnabledServerGetsTheClientsBytesInRowOrder) {
  std::string settings = SettingsFor({7, 3, 10, 1, 9, 2, 8, 5, 4, 6});
  settings.replace(settings.find("DNS_2_ENABLED=Yes"), 17, "DNS_2_ENABLED=No");
  WriteFile(home_.SettingsFile(), settings);
  const Program program(home_);
  for (const std::string& query : {Query(0xBEEF, "Mixed-Case.Example"), "\0\1 no question here\xFF"s, "x"s, ""s}) {
    client_.Ask(query);
    std::vector<std::string> asked;
    for (const auto& seen : servers_.Next(std::size_t{9})) {
      asked.push_back(seen.local);
      EXPECT_EQ(seen.bytes, query);
    }
    const std::vector<std::string> expected = {ServerAt(7), ServerAt(3), ServerAt(1), ServerAt(9), ServerAt(2),
                                               ServerAt(8), ServerAt(5), ServerAt(4), ServerAt(6)};
    EXPECT_EQ(asked, expected);
  }
}

TEST_F(Relay, ThreeHundredQueriesWaitAndOneMoreSwitchesAllServersOff) {
  const Screen screen;
  Program program(home_, {.display = screen.Display()});
  const char* box = "Critical Error!";
  std::vector<Datagram> queries;
  for (int turn = 0; turn < 2; ++turn) {
    for (const auto& query : std::exchange(queries, {})) {
      servers_.Answer(query, AnswerTo(query.bytes));
      ASSERT_EQ(client_.Answer(), AnswerTo(query.bytes));
    }
    EXPECT_EQ(screen.Count(box), 0);
    for (int i = 0; i < 300; ++i) {
      client_.Ask(Query(i, "waiting-" + std::to_string(i)));
      queries.push_back(servers_.Next().value());
    }
  }
  client_.Ask(Query(1, "one-too-many.test"));
  ASSERT_TRUE(screen.Shows(box));

  // Both sockets are served behind the box: a client asks, and somebody upstream answers without having been asked.
  const auto served = [&](const std::string& name) {
    client_.Ask(Query(2, name));
    return Eventually([&] {
      servers_.AnswerFrom(kStranger, queries[0], AnswerTo(Query(2, name)));
      const auto answer = client_.Receive(std::chrono::milliseconds(50));
      return answer && answer->bytes == AnswerTo(Query(2, name));
    });
  };
  EXPECT_TRUE(served("behind-the-box.test"));
  for (int i = 0; i < 301; ++i) client_.Ask(Query(3, "again-" + std::to_string(i)));
  EXPECT_TRUE(served("still-behind-the-box.test"));
  EXPECT_EQ(screen.Count(box), 1) << "running over once more does not open a second one";
  screen.PressEnter(box);
  EXPECT_TRUE(Eventually([&] { return screen.Count(box) == 0; }));
  EXPECT_TRUE(served("after-the-box.test"));
  EXPECT_FALSE(servers_.Next(kNow)) << "a server was asked while all are off";
  program.Terminate();
  EXPECT_EQ(home_.Setting("DNS_0_ENABLED"), "No");
  EXPECT_EQ(home_.Setting("DNS_0_NAME"), ServerAt(1));
}

class CachingProgram : public LabTest {
 protected:
  CachingProgram() { WriteFile(home_.SettingsFile(), SettingsFor({1}, "No")); }

  /// A fresh name is asked for twice: whether the second answer comes from the cache.
  bool Caches() {
    const std::string name = "twice-" + std::to_string(++names_);
    const std::string first = AnswerTo(Query(1, name));
    return Exchange(Query(1, name), first) == first && Exchange(Query(2, name), AnswerTo(Query(2, name))) == first;
  }

  int names_ = 0;
};

TEST_F(CachingProgram, AHitIsAnsweredAtOnceAndTheQueryStillGoesOn) {
  const std::string stored = AnswerTo(Query(0x1111, "Cached.Name"));
  {
    const Program program(home_);
    EXPECT_EQ(Exchange(Query(0x1111, "Cached.Name"), stored), stored);
  }
  WriteFile(home_.SettingsFile(), SettingsFor({1, 2, 3}, "No"));
  Program program(home_);
  const std::string query = Query(0x2222, "CACHED.name");
  client_.Ask(query);
  const auto hit = client_.Receive();
  ASSERT_TRUE(hit);
  EXPECT_EQ(hit->bytes, stored) << "with the identifier that the answer was stored with";
  const auto queries = servers_.Next(std::size_t{3});
  ASSERT_EQ(queries.size(), 3u) << "no server has answered in this run, so all are asked";
  for (const auto& seen : queries) {
    EXPECT_EQ(seen.bytes, query);
    EXPECT_LT(hit->nanosecondOfEntry, seen.nanosecondOfEntry) << "the client comes first";
  }

  // The server's own answer settles the request: it goes nowhere, but is the stored one from then on.
  constexpr std::chrono::milliseconds kSaved{30};
  std::this_thread::sleep_for(kSaved);
  servers_.Answer(queries[1], AnswerTo(query));
  const std::string fresh = Query(0x4444, "fresh.name");
  client_.Ask(fresh);
  ASSERT_EQ(servers_.Next(std::size_t{3}).size(), 3u);
  servers_.AnswerFrom(ServerAt(2), queries[1], AnswerTo(fresh));
  EXPECT_EQ(client_.Answer(), AnswerTo(fresh)) << "and nothing before it";
  for (const std::string& known : {query, fresh}) {
    client_.Ask(known);
    EXPECT_EQ(client_.Answer(), AnswerTo(known));
    const auto refreshing = servers_.Next();
    ASSERT_TRUE(refreshing);
    EXPECT_EQ(refreshing->bytes, known) << "and sent to no other server before";
    EXPECT_EQ(refreshing->local, ServerAt(2)) << "of all servers the best one";
  }
  program.Terminate();
  EXPECT_FALSE(servers_.Next(kNow));
  EXPECT_EQ(home_.Setting("ACACHE"), "3");
  EXPECT_EQ(home_.Setting("ADNS"), "1");
  const int gained = std::stoi(home_.Setting("WTIME"));
  EXPECT_GE(gained, kSaved.count());
  EXPECT_LT(gained, 20 * kSaved.count());
}

TEST_F(CachingProgram, WithNoCacheNothingIsReadOrWritten) {
  const std::string stored = AnswerTo(Query(1, "switched.off"));
  const std::string other = AnswerTo(Query(2, "switched.off"));
  const struct {
    std::string noCache;
    std::string servers;
    std::string clients;
  } runs[] = {{"No", stored, stored}, {"Yes", other, other}, {"No", other, stored}};
  for (const auto& run : runs) {
    WriteFile(home_.SettingsFile(), SettingsFor({1}, run.noCache));
    const Program program(home_);
    EXPECT_EQ(Exchange(Query(2, "switched.off"), run.servers), run.clients);
  }
}

TEST_F(CachingProgram, ADamagedOrForeignFileIsReplaced) {
  const fs::path file = home_.ProgramFile("DNSCACHE.MDB");
  {
    const Program program(home_);
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(RoundTrip());
  }
  const std::string whole = ReadFile(file);
  std::string riddled = whole;
  for (std::size_t i = 5000; i < riddled.size(); i += 97) riddled[i] = static_cast<char>(i);
  for (const std::string& content : {std::string("[NAMESERVER]\n"), whole.substr(0, whole.size() / 2), riddled}) {
    WriteFile(file, content);
    const Program program(home_);
    EXPECT_TRUE(Caches()) << content.size() << " bytes";
  }
}

TEST_F(CachingProgram, WithoutTheRightToWriteItCachesElsewhereOrOnlyRelays) {
  for (const std::string name : {"program", "data"}) {
    const fs::path directory = home_.root / name;
    ASSERT_EQ(mount(directory.c_str(), directory.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, directory.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    Program program(home_);
    EXPECT_EQ(Caches(), name == "program");
    EXPECT_TRUE(RoundTrip());
    program.Terminate();
    const bool told = program.StandardError().find("Error opening Database!!") != std::string::npos;
    EXPECT_EQ(told, name == "data") << program.StandardError();
    fs::remove_all(home_.root / "data" / "quenvar");
  }
}

TEST_F(CachingProgram, AFullProgramDirectoryKeepsItFromStoringButNotFromRelaying) {
  const std::string room = "size=" + std::to_string(fs::file_size(kDirectory / "quenvar") + (256 << 10));
  ASSERT_EQ(mount("full", home_.ProgramFile("").c_str(), "tmpfs", 0, room.c_str()), 0);
  fs::copy_file(kDirectory / "quenvar", home_.ProgramFile("quenvar"));
  for (const char* when : {"filled while it runs", "full from the start"}) {
    const Program program(home_);
    WriteFile(home_.ProgramFile("filler"), std::string(512 << 10, 'x'));
    for (int i = 0; i < 300; ++i) ASSERT_TRUE(RoundTrip()) << when << ", query " << i;
  }
}

}  // namespace
}  // namespace quenvar::lab
