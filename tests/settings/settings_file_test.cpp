#include "settings/settings_file.h"

#include "settings/server_import.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class SettingsFile : public Service {
 protected:
  void SetSection(const std::string& section, const std::map<std::string, std::string>& values) {
    profile.values.clear();
    for (const auto& [key, value] : values) profile.values[{section, key}] = value;
  }
  std::string Server(const std::string& key) { return profile.values[{"NAMESERVER", key}]; }
  void Import(const std::string& content) {
    files.files["/program/DnsIp.Dat"] = content;
    ImportServerFile();
  }
};

TEST_F(SettingsFile, StatisticsAreCutToTheLengthOfTheFirstAndOneKeyIsCrossed) {
  const struct {
    const char* what;
    const char *wtime, *adns, *acache, *notAnswered, *totalq;
    std::array<int, 4> loaded;  // WTIME, ADNS, ACACHE, TOTALQ
  } cases[] = {
      {"after a reset", "0", "57", "123", "", "980", {0, 5, 1, 9}},
      {"crossed key, rounded", "98765", "2.5", "3.5", "12,5", "57", {12, 2, 4, 57}},
      {"longer than the buffer", "0000000000000000000000", "00000000000000000012", "", "", "", {0, 1, 0, 0}},
      {"overflow in the middle", "98765", "7", "40000", "3", "8", {98765, 7, 0, 0}},
      {"overflow at the end", "98765", "0", "0", "3", "40000", {3, 0, 0, 0}},
  };
  for (const auto& c : cases) {
    TOTALQ = ADNS = ACACHE = 0;
    SetSection("STATISTICS", {{"WTIME", c.wtime},
                              {"ADNS", c.adns},
                              {"ACACHE", c.acache},
                              {"NOTANSWERED", c.notAnswered},
                              {"TOTALQ", c.totalq}});
    LoadStatistics();
    EXPECT_EQ((std::array<int, 4>{static_cast<int>(WTIME), ADNS, ACACHE, TOTALQ}), c.loaded) << c.what;
    EXPECT_EQ(NOTANSWERED, 0) << c.what;
  }
}

TEST_F(SettingsFile, TheSecondOptionIsCutToTheLengthOfTheFirst) {
  SetSection("OPTIONS", {{"SYSTRAY", "y"}, {"NOCACHE", "YES"}, {"MATCHQUESTION", " Yes"}});
  LoadOptions();
  EXPECT_EQ(std::tuple(Check2, Check3, NoCache, MatchQuestion), std::tuple(1, 1, kTrue, kFalse));
  SetSection("OPTIONS", {{"SYSTRAY", ""}, {"NOCACHE", "Yes"}, {"MATCHQUESTION", "yes"}});
  LoadOptions();
  EXPECT_EQ(std::tuple(Check2, Check3, NoCache, MatchQuestion), std::tuple(0, 0, kFalse, kTrue));
}

TEST_F(SettingsFile, ServersLoadInOrderUntilANumberDoesNotFit) {
  SetSection("NAMESERVER", {{"DNS_0_NAME", std::string(100, 'n')},
                            {"DNS_0_DESC", "free text"},
                            {"DNS_0_ENABLED", "Yellow"},
                            {"DNS_0_WINNING", "32767"},
                            {"DNS_4_NAME", "10.1.0.5"},
                            {"DNS_4_WINNING", "32768"},
                            {"DNS_5_NAME", "skipped"}});
  profile.values[{"N_SERVERS", "NDNS"}] = "12";
  LoadNameServers();
  EXPECT_EQ(std::tuple(TotalWinning, ServerEnabled[0], ServerWinning[0]), std::tuple(12, kTrue, 32767));
  EXPECT_EQ(ServerAddress[0] + ServerDescription[0], std::string(79, 'n') + "free text");
  EXPECT_EQ(ServerAddress[4] + ServerDescription[4] + ServerAddress[5], "10.1.0.5");
  profile.values[{"N_SERVERS", "NDNS"}] = "99999";
  ServerAddress[0] = "kept";
  LoadNameServers();
  EXPECT_EQ(std::pair(TotalWinning, ServerAddress[0]), std::pair(std::int16_t{12}, std::string("kept")));
}

TEST_F(SettingsFile, EachDescriptionIsReadByItselfAndComesBackAsItIs) {
  std::string letters, sharps;
  for (int i = 0; i < 79; ++i) {
    letters += "\u0416";
    sharps += "\u00DF";
  }
  const std::pair<std::string, std::string> cases[] = {{"\xe4\x80 \x81", "\u00E4\u20AC \xC2\x81"},
                                                       {"\xC3\xA9\xFC", "\u00C3\u00A9\u00FC"},
                                                       {"\u03B1\U0001F310", "\u03B1\U0001F310"},
                                                       {letters + "\u0416", letters},
                                                       {std::string(80, '\xDF'), sharps}};
  for (const auto& [written, read] : cases)
    for (const std::string& text : {written, read}) {
      SetSection("NAMESERVER", {{"DNS_0_DESC", text}});
      LoadNameServers();
      EXPECT_EQ(ServerDescription[0], read);
    }
}

TEST_F(SettingsFile, OneSaveWritesEverythingButWhatIsInFlight) {
  SetServer(0, "10.1.0.1", "free text, as typed", 7);
  TotalWinning = 9;
  TOTALQ = 40;
  WTIME = 1234.5;
  NOTANSWERED = 3;
  for (int i = 0; i < 5; ++i) AddPending(MakeRequest("waits", "10.0.0.9", 1));
  PendingTable[4].AnsweredAt = 1;
  SaveAllSettings();
  EXPECT_EQ(trace, Trace{"save"});
  ASSERT_EQ(profile.written.size(), 2u + 1 + 40 + 5);
  EXPECT_EQ(profile.written.front(), "OPTIONS/SYSTRAY=No");
  EXPECT_EQ((profile.values[{"N_SERVERS", "NDNS"}]), "9");
  EXPECT_EQ(Server("DNS_0_DESC") + Server("DNS_0_WINNING") + Server("DNS_0_ENABLED"), "free text, as typed7Yes");
  EXPECT_EQ(Trace(profile.written.end() - 5, profile.written.end()),
            (Trace{"STATISTICS/WTIME=1234.5", "STATISTICS/ADNS=0", "STATISTICS/ACACHE=0", "STATISTICS/NOTANSWERED=3",
                   "STATISTICS/TOTALQ=36"}));
}

TEST_F(SettingsFile, TheOldServerFileIsTakenOverInGroupsAndItsLastFieldRepeated) {
  Import(
      "1.0\r\n10.1.0.1,\"one, \"\"two\",1,12\r\n  10.1.0.2  , plain text ,0, 7x\n\"10.1.0.3\"\n\"\"\n 1yes\n3.5,4.5");
  const char* const rows[][4] = {{"10.1.0.1", "one, ", "Yes", "12"},
                                 {"10.1.0.2", "plain text", "No", "7"},
                                 {"10.1.0.3", "", "Yes", "3.5"},
                                 {"4.5", "4.5", "No", "4.5"}};
  const char* const keys[] = {"_NAME", "_DESC", "_ENABLED", "_WINNING"};
  for (std::size_t row = 0; row < 4; ++row)
    for (std::size_t field = 0; field < 4; ++field)
      EXPECT_EQ(Server("DNS_" + std::to_string(row) + keys[field]), rows[row][field]);
  EXPECT_EQ(profile.values.size(), 16u);
  EXPECT_TRUE(files.files.empty()) << "imported once";
  profile.broken = true;
  Import("header,10.1.0.1,d,1,5");
  EXPECT_EQ(files.files.size(), 1u) << "stays where the settings cannot be written";
}

}  // namespace
}  // namespace quenvar
