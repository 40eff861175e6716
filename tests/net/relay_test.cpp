// What the clients and the name servers see of the program on the wire, with and without its cache.
#include <arpa/inet.h>
#include <signal.h>
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
  for (const std::string& query : {"\0\1 no question here\xFF"s, ""s, std::string(65507, '\xF0')}) {
    client_.Ask(query);
    std::string asked;
    for (const auto& seen : servers_.Next(std::size_t{9})) {
      asked += seen.local.substr(seen.local.rfind('.'));
      EXPECT_TRUE(seen.bytes == query);
    }
    EXPECT_EQ(asked, ".7.3.1.9.2.8.5.4.6");
  }
}

// A client takes an answer only from the address that it has asked, however many others have asked since.
TEST_F(Relay, EachAnswerLeavesFromTheAddressThatWasAsked) {
  const Program program(home_);
  const std::string asked[] = {"127.0.0.1", "127.0.0.2"};
  const std::vector<Client> clients(280);
  std::vector<Datagram> queries;
  for (std::size_t i = 0; i < clients.size(); ++i) {
    clients[i].Ask(Query(static_cast<int>(i), "name" + std::to_string(i)), asked[i % 2]);
    queries.push_back(servers_.Next().value());
  }
  for (std::size_t i = 0; i < clients.size(); ++i) {
    servers_.Answer(queries[i], AnswerTo(queries[i].bytes));
    EXPECT_EQ(clients[i].Receive().value().peer.sin_addr.s_addr, inet_addr(asked[i % 2].c_str())) << i;
  }
}

TEST_F(Relay, AHitOutlivesTheProgramsCrashWithTheIdentifierThatItWasStoredWith) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No"));
  const std::string first = Query(0x1111, "Cached.Name");
  const auto log = home_.ProgramFile("DNSCACHE.MDB-wal");
  for (const std::string& query : {first, Query(0x2222, "CACHED.name")}) {
    Program program(home_);
    EXPECT_EQ(Exchange(query, AnswerTo(query)), AnswerTo(first));
    const auto stored = [&] { return query != first || ReadFile(log).find("CACHED.NAME") != std::string::npos; };
    EXPECT_TRUE(Eventually(stored)) << "nothing follows that would take it along";
    program.Signal(SIGKILL);
    program.Wait();
  }
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
