// What the clients and the name servers see of the program on the wire.
#include <map>

#include "program.h"
#include "screen.h"
#include "wire.h"

namespace quenvar::lab {
namespace {

using namespace std::string_literals;

class Relay : public LabTest {
 protected:
  void SetUp() override {
    LabTest::SetUp();
    if (IsSkipped()) return;
    home_.emplace();
    servers_.emplace();
  }

  std::optional<Home> home_;
  std::optional<Servers> servers_;
};

TEST_F(Relay, EveryEnabledServerGetsTheClientsBytesInRowOrder) {
  const std::vector<int> rows = {7, 3, 10, 1, 9, 2, 8, 5, 4, 6};
  std::string settings = SettingsFor(rows);
  for (const std::string key : {"DNS_2_ENABLED=", "DNS_8_ENABLED="}) {
    settings.replace(settings.find(key), key.size() + 3, key + "No");
  }
  WriteFile(home_->SettingsFile(), settings);
  Program program(*home_);
  ASSERT_TRUE(program.Serves());
  Client client;
  for (const std::string& query : {Query(0xBEEF, "Mixed-Case.Example"), "\0\1 no question here\xFF"s, "x"s, ""s}) {
    client.Ask(query);
    std::vector<std::string> asked;
    for (const auto& seen : servers_->Next(std::size_t{8})) {
      asked.push_back(seen.local);
      EXPECT_EQ(seen.bytes, query);
    }
    const std::vector<std::string> expected = {ServerAt(7), ServerAt(3), ServerAt(1), ServerAt(9),
                                               ServerAt(2), ServerAt(8), ServerAt(5), ServerAt(6)};
    EXPECT_EQ(asked, expected);
  }
}

TEST_F(Relay, TheFirstAnswerGoesToAllWhoWaitOldestFirstAndLaterOnesGoNowhere) {
  WriteFile(home_->SettingsFile(), SettingsFor({1, 2, 3}));
  Program program(*home_);
  ASSERT_TRUE(program.Serves());
  std::map<int, Client> clients;
  std::vector<Endpoint::Datagram> queries;
  for (int i = 0; i < 4; ++i) {
    clients[i].Ask(Query(static_cast<std::uint16_t>(100 + i), i % 2 == 0 ? "one.name" : "ONE.Name"));
    for (auto& query : servers_->Next(std::size_t{3})) queries.push_back(query);
    // Age is told in milliseconds.
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
  }
  ASSERT_EQ(queries.size(), 12u);
  const std::string first = AnswerTo(queries[7].bytes) + "bytes of the server's own\0\1"s;
  servers_->Answer(queries[7], first);
  std::int64_t before = 0;
  for (auto& [i, client] : clients) {
    const auto answer = client.Answer();
    ASSERT_TRUE(answer) << "client " << i;
    EXPECT_EQ(answer->bytes, first);
    EXPECT_GT(answer->nanosecondOfEntry, before) << "client " << i;
    before = answer->nanosecondOfEntry;
  }
  for (const auto& query : queries) servers_->Answer(query, AnswerTo(query.bytes));
  for (auto& [i, client] : clients) EXPECT_TRUE(RoundTrip(client, *servers_)) << "client " << i;

  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_EQ(home_->Setting("DNS_1_WINNING"), "4");
  EXPECT_EQ(home_->Setting("NDNS"), "8");
  EXPECT_EQ(home_->Setting("ADNS"), "8");
}

TEST_F(Relay, AnAnswerFromAStrangerIsRelayedAndCreditsNobody) {
  WriteFile(home_->SettingsFile(), SettingsFor({1}));
  Program program(*home_);
  ASSERT_TRUE(program.Serves());
  Client client;
  client.Ask(Query(1, "strange.name"));
  const auto query = servers_->Next();
  ASSERT_TRUE(query);
  servers_->AnswerFrom(kStranger, *query, AnswerTo(query->bytes));
  EXPECT_EQ(client.AnswerBytes(), AnswerTo(query->bytes));
  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_EQ(home_->Setting("NDNS"), "0");
  EXPECT_EQ(home_->Setting("ADNS"), "1");
}

TEST_F(Relay, UnreadableQuestionsShareOneName) {
  WriteFile(home_->SettingsFile(), SettingsFor({1}));
  Program program(*home_);
  ASSERT_TRUE(program.Serves());
  const std::vector<std::string> unreadable = {"",
                                               "short",
                                               Query(7, "").substr(0, 12),
                                               Query(7, ""),
                                               Query(7, "").substr(0, 12) + "\xC0\x0C\0\1\0\1"s,
                                               Query(8, "cut.short").substr(0, 19)};
  std::map<std::size_t, Client> clients;
  for (std::size_t i = 0; i < unreadable.size(); ++i) {
    clients[i].Ask(unreadable[i]);
    const auto query = servers_->Next();
    ASSERT_TRUE(query);
    EXPECT_EQ(query->bytes, unreadable[i]);
    if (i + 1 == unreadable.size()) servers_->Answer(*query, "as unreadable");
  }
  for (auto& [i, client] : clients) EXPECT_EQ(client.AnswerBytes(), "as unreadable") << "client " << i;
}

/// Asks for fresh names until `count` of them wait; returns what the servers saw.
std::vector<Endpoint::Datagram> FillTable(Client& client, Servers& servers, int count) {
  static int names = 0;
  for (int i = 0; i < count; ++i)
    client.Ask(Query(static_cast<std::uint16_t>(i), "waiting-" + std::to_string(++names) + ".test"));
  return servers.Next(static_cast<std::size_t>(count));
}

constexpr const char* kBox = "Critical Error!";

TEST_F(Relay, ThreeHundredQueriesWaitAndOneMoreSwitchesAllServersOff) {
  const Screen screen;
  WriteFile(home_->SettingsFile(), SettingsFor({1}) + "DNS_9_NAME=" + ServerAt(2) + "\n");
  Program program(*home_, {.display = screen.Display()});
  ASSERT_TRUE(program.Serves());
  Client client;
  for (const auto& query : FillTable(client, *servers_, 300)) servers_->Answer(query, AnswerTo(query.bytes));
  for (int i = 0; i < 300; ++i) ASSERT_TRUE(client.Answer()) << "answer " << i;
  EXPECT_EQ(screen.Count(kBox), 0);

  const auto queries = FillTable(client, *servers_, 300);
  ASSERT_EQ(queries.size(), 300u);
  client.Ask(Query(1, "one-too-many.test"));
  ASSERT_TRUE(screen.Shows(kBox));
  for (const auto& query : queries) servers_->Answer(query, AnswerTo(query.bytes));

  // Both sockets are served behind the box: a client asks, and somebody upstream answers without having been asked.
  const auto answered = [&](const std::string& name) {
    const std::string query = Query(2, name);
    client.Ask(query);
    return Eventually([&] {
      servers_->AnswerFrom(kStranger, queries[0], AnswerTo(query));
      const auto answer = client.Answer(std::chrono::milliseconds(50));
      return answer && answer->bytes == AnswerTo(query);
    });
  };
  EXPECT_TRUE(answered("behind-the-box.test"));

  // Running over once more does not open a second box.
  for (int i = 0; i < 301; ++i) client.Ask(Query(3, "again-" + std::to_string(i) + ".test"));
  EXPECT_TRUE(answered("still-behind-the-box.test"));
  EXPECT_EQ(screen.Count(kBox), 1);
  screen.Press(kBox, "Return");
  EXPECT_TRUE(screen.Hides(kBox));
  EXPECT_TRUE(answered("after-the-box.test"));
  EXPECT_FALSE(servers_->Next(std::chrono::milliseconds(0))) << "a server was asked while all are off";

  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_EQ(home_->Setting("DNS_0_ENABLED"), "No");
  EXPECT_EQ(home_->Setting("DNS_0_NAME"), ServerAt(1));
}

}  // namespace
}  // namespace quenvar::lab
