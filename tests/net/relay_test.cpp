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
  for (const std::string& query :
       {Query(0xBEEF, "Mixed-Case.Example"), "\0\1 no question here\xFF"s, "x"s, ""s, std::string(65507, '\xF0')}) {
    client_.Ask(query);
    std::vector<std::string> asked;
    for (const auto& seen : servers_.Next(std::size_t{9})) {
      asked.push_back(seen.local);
      EXPECT_TRUE(seen.bytes == query);
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
  Datagram query;
  for (int i = 0; i < 300; ++i) {
    client_.Ask(Query(i, "waiting-" + std::to_string(i)));
    query = servers_.Next().value();
  }
  EXPECT_EQ(screen.Count(box), 0);
  client_.Ask(Query(1, "one-too-many.test"));
  ASSERT_TRUE(screen.Shows(box));

  // Both sockets are served behind the box: a client asks, and somebody upstream answers without having been asked.
  const auto served = [&](const std::string& name) {
    client_.Ask(Query(2, name));
    return Eventually([&] {
      servers_.AnswerFrom(kStranger, query, AnswerTo(Query(2, name)));
      const auto answer = client_.Receive(std::chrono::milliseconds(50));
      return answer && answer->bytes == AnswerTo(Query(2, name));
    });
  };
  for (int i = 0; i < 301; ++i) client_.Ask(Query(3, "again-" + std::to_string(i)));
  EXPECT_TRUE(served("behind-the-box.test"));
  EXPECT_EQ(screen.Count(box), 1) << "running over once more does not open a second one";
  screen.PressEnter(box);
  EXPECT_TRUE(Eventually([&] { return screen.Count(box) == 0; }));
  EXPECT_TRUE(served("after-the-box.test"));
  EXPECT_FALSE(servers_.Next(kNow)) << "a server was asked while all are off";
  program.Terminate();
  EXPECT_EQ(home_.Setting("DNS_0_ENABLED"), "No");
}

TEST_F(Relay, AHitIsAnsweredBeforeItsQueryGoesOn) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No"));
  const std::string stored = AnswerTo(Query(0x1111, "Cached.Name"));
  {
    const Program program(home_);
    EXPECT_EQ(Exchange(Query(0x1111, "Cached.Name"), stored), stored);
  }
  WriteFile(home_.SettingsFile(), SettingsFor({1, 2, 3}, "No"));
  const Program program(home_);
  const std::string query = Query(0x2222, "CACHED.name");
  client_.Ask(query);
  const auto hit = client_.Receive();
  ASSERT_TRUE(hit);
  EXPECT_EQ(hit->bytes, stored) << "with the identifier that the answer was stored with";
  const auto queries = servers_.Next(std::size_t{3});
  ASSERT_EQ(queries.size(), 3u) << "no server has answered in this run, so all are asked";
  for (const auto& seen : queries) EXPECT_LT(hit->nanosecondOfEntry, seen.nanosecondOfEntry);

  servers_.Answer(queries[1], AnswerTo(query));
  EXPECT_TRUE(RoundTrip()) << "what settles a request goes nowhere";
  EXPECT_EQ(Exchange(query, "too late"), AnswerTo(query)) << "but is the stored one from then on";
}

TEST_F(Relay, WithoutTheRightToWriteItCachesElsewhereOrOnlyRelays) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No"));
  for (const std::string name : {"program", "data"}) {
    const fs::path directory = home_.root / name;
    ASSERT_EQ(mount(directory.c_str(), directory.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, directory.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    Program program(home_);
    const std::string first = AnswerTo(Query(1, name));
    const std::string second = AnswerTo(Query(2, name));
    EXPECT_EQ(Exchange(Query(1, name), first), first);
    EXPECT_EQ(Exchange(Query(2, name), second), name == "program" ? first : second);
    program.Terminate();
    const bool told = program.StandardError().find("Error opening Database!!") != std::string::npos;
    EXPECT_EQ(told, name == "data") << program.StandardError();
    fs::remove_all(home_.root / "data" / "quenvar");
  }
}

}  // namespace
}  // namespace quenvar::lab
