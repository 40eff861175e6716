#include "settings/settings_file.h"

#include "settings/server_import.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class SettingsFile : public Service {
 protected:
  using Values = std::vector<std::pair<std::string, std::string>>;

  void SetSection(const std::string& section, const Values& values) {
    profile.values.clear();
    for (const auto& [key, value] : values) profile.values[{section, key}] = value;
  }
  std::string Server(const std::string& key) { return profile.values[{"NAMESERVER", key}]; }
};

TEST_F(SettingsFile, YesIsWhatBeginsWithY) {
  for (const char* text : {"Yes", "YES", "y", "yes please", "Yellow"}) EXPECT_EQ(ParseYesNo(text), 1) << text;
  for (const char* text : {"", "No", "1", "TRUE", " Yes", "-1"}) EXPECT_EQ(ParseYesNo(text), 0) << text;
}

TEST_F(SettingsFile, StatisticsAreCutToTheLengthOfTheFirstAndOneKeyIsCrossed) {
  const struct {
    const char* what;
    Values values;
    double wtime;
    int adns, acache, totalq;
  } cases[] = {
      {"after a reset", {{"WTIME", "0"}, {"ADNS", "57"}, {"ACACHE", "123"}, {"TOTALQ", "980"}}, 0, 5, 1, 9},
      {"crossed key", {{"WTIME", "98765"}, {"NOTANSWERED", "12"}, {"TOTALQ", "57"}}, 12, 0, 0, 57},
      {"empty", {{"WTIME", ""}, {"ADNS", "57"}}, 0, 0, 0, 0},
      {"longer than the buffer", {{"WTIME", "1234567890123456789012"}, {"ADNS", "7"}}, 0, 7, 0, 0},
      {"decimal comma", {{"WTIME", "1234,5"}, {"NOTANSWERED", "1234,5"}}, 1234, 0, 0, 0},
      {"rounded", {{"WTIME", "0.00"}, {"ADNS", "2.5"}, {"ACACHE", "3.5"}}, 0, 2, 4, 0},
      {"overflow in the middle",
       {{"WTIME", "98765"}, {"ADNS", "7"}, {"ACACHE", "40000"}, {"NOTANSWERED", "3"}, {"TOTALQ", "8"}},
       98765,
       7,
       0,
       0},
      {"overflow at the end", {{"WTIME", "98765"}, {"NOTANSWERED", "3"}, {"TOTALQ", "-40000"}}, 3, 0, 0, -4000},
  };
  for (const auto& c : cases) {
    TOTALQ = ADNS = ACACHE = 0;
    NOTANSWERED = 0;
    SetSection("STATISTICS", c.values);
    LoadStatistics();
    EXPECT_EQ(WTIME, c.wtime) << c.what;
    EXPECT_EQ(ADNS, c.adns) << c.what;
    EXPECT_EQ(ACACHE, c.acache) << c.what;
    EXPECT_EQ(TOTALQ, c.totalq) << c.what;
    EXPECT_EQ(NOTANSWERED, 0) << c.what;
  }
}

TEST_F(SettingsFile, TheSecondOptionIsCutToTheLengthOfTheFirst) {
  SetSection("OPTIONS", {{"SYSTRAY", "y"}, {"NOCACHE", "yes"}});
  LoadOptions();
  EXPECT_EQ(Check2, 1);
  EXPECT_EQ(Check3, 1);
  EXPECT_EQ(NoCache, kTrue);
  EXPECT_EQ(MatchQuestion, kFalse);
  SetSection("OPTIONS", {{"SYSTRAY", ""}, {"NOCACHE", "Yes"}, {"MATCHQUESTION", "yes"}});
  LoadOptions();
  EXPECT_EQ(Check3, 0) << "nothing is kept of it";
  EXPECT_EQ(MatchQuestion, kTrue) << "this one stands for itself";
}

TEST_F(SettingsFile, ServersLoadInOrderUntilANumberDoesNotFit) {
  SetSection("NAMESERVER", {{"DNS_0_NAME", "10.1.0.1"},
                            {"DNS_0_ENABLED", "yes"},
                            {"DNS_0_WINNING", "32767"},
                            {"DNS_3_NAME", std::string(100, 'n')},
                            {"DNS_3_DESC", std::string(100, 'd')},
                            {"DNS_4_NAME", "10.1.0.5"},
                            {"DNS_4_WINNING", "32768"},
                            {"DNS_5_NAME", "10.1.0.6"}});
  profile.values[{"N_SERVERS", "NDNS"}] = "12";
  LoadNameServers();
  EXPECT_EQ(TotalWinning, 12);
  EXPECT_EQ(ServerEnabled[0], kTrue);
  EXPECT_EQ(ServerWinning[0], 32767);
  EXPECT_EQ(ServerAddress[3], std::string(79, 'n'));
  EXPECT_EQ(ServerDescription[3], std::string(79, 'd'));
  EXPECT_EQ(ServerAddress[4], "10.1.0.5");
  EXPECT_EQ(ServerWinning[4], 0);
  EXPECT_EQ(ServerAddress[5], "") << "the rest is skipped";
  profile.values[{"N_SERVERS", "NDNS"}] = "99999";
  ServerAddress[0] = "kept";
  LoadNameServers();
  EXPECT_EQ(ServerAddress[0], "kept");
  EXPECT_EQ(TotalWinning, 12);
}

TEST_F(SettingsFile, OneSaveWritesEverythingButWhatIsInFlight) {
  SetServer(0, "10.1.0.1", "free text, as typed", 7);
  TOTALQ = 40;
  WTIME = 1234.5;
  NOTANSWERED = 3;
  for (int i = 0; i < 5; ++i) AddPending(MakeRequest("waits", "10.0.0.9", 1));
  PendingTable[4].AnsweredAt = 1;
  SaveAllSettings();
  EXPECT_EQ(trace, Trace{"save"});
  ASSERT_EQ(profile.written.size(), 2u + 1 + 40 + 5);
  EXPECT_EQ(Server("DNS_0_DESC") + Server("DNS_0_WINNING"), "free text, as typed7");
  EXPECT_EQ(Trace(profile.written.end() - 5, profile.written.end()),
            (Trace{"STATISTICS/WTIME=1234.5", "STATISTICS/ADNS=0", "STATISTICS/ACACHE=0", "STATISTICS/NOTANSWERED=3",
                   "STATISTICS/TOTALQ=36"}));
}

class ServerFile : public SettingsFile {
 protected:
  void Import(const std::string& content) {
    files.files["/program/DnsIp.Dat"] = content;
    ImportServerFile();
  }
};

TEST_F(ServerFile, FieldsAreQuotedTrimmedAndSeparated) {
  Import("1.0\r\n10.1.0.1,\"one, \"\"two\",1,12\r\n  10.1.0.2  , plain text ,0, 7x\n\"10.1.0.3\"\n\"\"\n 1yes\n3.5");
  const char* const expected[][4] = {
      {"10.1.0.1", "one, ", "Yes", "12"}, {"10.1.0.2", "plain text", "No", "7"}, {"10.1.0.3", "", "Yes", "3.5"}};
  const char* const keys[] = {"_NAME", "_DESC", "_ENABLED", "_WINNING"};
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t field = 0; field < 4; ++field)
      EXPECT_EQ(Server("DNS_" + std::to_string(row) + keys[field]), expected[row][field]);
  EXPECT_TRUE(files.files.empty()) << "imported once";
  EXPECT_EQ(profile.values.count({"N_SERVERS", "NDNS"}), 0u);
}

TEST_F(ServerFile, AFileThatEndsInsideOfAGroupRepeatsItsLastField) {
  Import("header,10.1.0.1");
  EXPECT_EQ(Server("DNS_0_DESC"), "10.1.0.1");
  EXPECT_EQ(Server("DNS_0_ENABLED"), "Yes");
  EXPECT_EQ(Server("DNS_0_WINNING"), "10.1");
}

TEST_F(ServerFile, StaysWhereTheSettingsCannotBeWritten) {
  profile.broken = true;
  Import("header,10.1.0.1,d,1,5");
  EXPECT_EQ(files.files.size(), 1u);
}

}  // namespace
}  // namespace quenvar
