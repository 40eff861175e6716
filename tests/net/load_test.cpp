// Bursts, and input that no one should send.
#include <algorithm>
#include <random>

#include "program.h"
#include "wire.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;

class Load : public LabTest {
 protected:
  std::string RandomBytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  }

  std::mt19937 random_{53};
};

TEST_F(Load, FiveThousandQueriesWithinTheTablesRoomAreAllAnswered) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  Servers servers;
  Program program(home);
  ASSERT_TRUE(program.Serves());
  Client client;
  constexpr int kQueries = 5000;
  constexpr int kOutstanding = 250;
  constexpr std::chrono::milliseconds kNow{0};
  int sent = 0;
  int answered = 0;
  const bool all = Eventually([&] {
    for (; sent < kQueries && sent - answered < kOutstanding; ++sent)
      client.Ask(Query(static_cast<std::uint16_t>(sent), "burst-" + std::to_string(sent) + ".test"));
    while (const auto query = servers.Next(kNow)) servers.Answer(*query, AnswerTo(query->bytes));
    while (client.Answer(kNow)) ++answered;
    return answered == kQueries;
  });
  EXPECT_TRUE(all) << answered << " of " << sent << " answered";
  EXPECT_EQ(program.DroppedDatagrams(), 0);
  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_EQ(home.Setting("ADNS"), std::to_string(kQueries));
  EXPECT_EQ(home.Setting("TOTALQ"), std::to_string(kQueries));
}

// The table runs over at every 301st query and then forgets all of them; each is received and counted nevertheless,
// though the box about it stands open from the first time on. The kernel drops some only where it keeps the program's
// buffer small.
TEST_F(Load, FiveThousandQueriesAtOnceAreAllReceived) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  Program program(home);
  ASSERT_TRUE(program.Serves());
  Client client;
  constexpr int kQueries = 5000;
  for (int i = 0; i < kQueries; ++i)
    client.Ask(Query(static_cast<std::uint16_t>(i), "flood-" + std::to_string(i) + ".test"));
  EXPECT_TRUE(Eventually([&] { return program.Idle(); }));
  const int received = kQueries - program.DroppedDatagrams();
  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_EQ(home.Setting("TOTALQ"), std::to_string(received - received % 301));
  EXPECT_EQ(home.Setting("DNS_0_ENABLED"), "No");
}

TEST_F(Load, RandomDatagramsOnBothSocketsDoNoHarm) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1}));
  Servers servers;
  Program program(home);
  ASSERT_TRUE(program.Serves());
  Client client;
  client.Ask("");
  const auto towardsServers = servers.Next();
  ASSERT_TRUE(towardsServers);
  std::vector<std::size_t> sizes = {65507};
  for (std::size_t size = 0; size < 65507; size = std::max(size + 1, size * 9 / 8)) sizes.push_back(size);
  for (const std::size_t size : sizes) {
    const std::string query = RandomBytes(size);
    client.Ask(query);
    const auto forwarded = servers.Next();
    ASSERT_TRUE(forwarded) << size << " bytes";
    EXPECT_EQ(forwarded->bytes, query);
    servers.Answer(*towardsServers, RandomBytes(size));
  }
  EXPECT_TRUE(program.Runs());
  Client another;
  EXPECT_TRUE(RoundTrip(another, servers));
  EXPECT_EQ(program.Terminate(), 0) << program.StandardError();
}

/// Runs the program on what `home` holds: it serves a query and ends in order.
void ExpectServesAndEnds(const Home& home, const std::string& what) {
  SCOPED_TRACE(what);
  Servers servers;
  Program program(home);
  EXPECT_TRUE(program.Serves());
  Client client;
  EXPECT_TRUE(RoundTrip(client, servers));
  EXPECT_EQ(program.Terminate(), 0) << program.StandardError();
}

TEST_F(Load, AnySettingsFileIsReadAndTheRestOfItKept) {
  std::vector<std::string> contents = {RandomBytes(10 << 20), std::string(10 << 20, 'x'), std::string(5, '\0')};
  std::string sections;
  while (sections.size() < (10u << 20)) sections += "[NAME]\n[\n]=\n=\n";
  contents.push_back(sections);
  for (int i = 0; i < 10; ++i) contents.push_back(RandomBytes(random_() % 4000));
  for (const std::string& content : contents) {
    const Home home;
    WriteFile(home.SettingsFile(), content + "\n" + SettingsFor({1}));
    ExpectServesAndEnds(home, std::to_string(content.size()) + " bytes of settings");
    EXPECT_TRUE(ReadFile(home.SettingsFile()).starts_with(content)) << content.size() << " bytes";
  }
}

TEST_F(Load, AnOldServerFileMayEndAnywhere) {
  const std::string whole = "9\n10.53.0.1,\"a, b\",1,70\n10.53.0.2, c ,0,x\n";
  const Home home;
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    WriteFile(home.SettingsFile(), SettingsFor({3, 4, 5}));
    WriteFile(home.ProgramFile("DNSIP.DAT"), whole.substr(0, length));
    ExpectServesAndEnds(home, "cut after " + std::to_string(length) + " bytes");
    EXPECT_FALSE(fs::exists(home.ProgramFile("DNSIP.DAT")));
  }
}

}  // namespace
}  // namespace quenvar::lab
