#include "settings/address.h"
#include "settings/server_import.h"
#include "settings/settings_file.h"
#include "settings/statistics_view.h"
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
                                                       {"\xED\xA0\x80", "\u00ED\u00A0\u20AC"},
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

class NameServers : public Service {};

TEST_F(NameServers, AddressesAreCheckedInOrder) {
  OwnAddresses[2] = "10.0.0.1";
  OwnAddresses[3] = "10.0.0.3";
  OwnAddressCount = 3;
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"", {"192.168.100.1", "1.2.3.4.999", "...", "10.0.0.3", "010.0.0.1"}},
      {"Format error", {"192.168.0.256", "1.2.3.4.56789012", "256.1.1.1", "1.2.3", ""}},
      {"Invalid characters", {"192.168.0.-1", " 10.0.0.2", "1234567890123456x"}},
      {"This is your own ip address!", {"10.0.0.1", "127.0.0.1", "255.255.255.255"}},
  };
  for (const auto& [error, texts] : cases)
    for (const char* text : texts) EXPECT_EQ(ValidateAddress(text), error) << text;
}

TEST_F(NameServers, TheSameNumbersAreTheSameAddress) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"010.1.00.020", "10.1.0.20", true}, {"0.10.0.0", "00.010.000.00", true}, {"1..2.3", "1.0.2.3", true},
      {"1.2.3.4.5", "1.2.3.4", true},      {"10.1.0.2", "10.1.0.20", false},    {"10.1.0.21", "10.1.0.20", false}};
  for (const auto& [a, b, same] : cases) EXPECT_EQ(IsSameAddress(a, b), same) << a;
}

// Lives as long as the display that it stands for: what is shown already is not shown again.
struct Display : StatisticsView {
  void ShowCacheShare(std::int16_t percent) override { Set(cache, percent); }
  void ShowServerShare(std::int16_t percent) override { Set(server, percent); }
  void ShowLostShare(std::int16_t percent) override { Set(lost, percent); }
  void ShowWaiting(const std::string& count) override { Set(waiting, count); }
  void ShowGain(const std::string& text) override { Set(gain, text); }

  template <typename Value>
  void Set(Value& shown, const Value& value) {
    EXPECT_NE(shown, value) << "written although it does not differ";
    shown = value;
  }

  std::int16_t cache = 0, server = 0, lost = 0;
  std::string waiting = "0", gain = "0,0";
};
Display display;

class Statistics : public Service {
 protected:
  Statistics() { statisticsView = &display; }

  static void SetCounters(std::array<int, 4> counters, double wtime) {
    int at = 0;
    for (std::int16_t* const counter : {&TOTALQ, &ACACHE, &ADNS, &NOTANSWERED})
      *counter = static_cast<std::int16_t>(counters[at++]);
    WTIME = wtime;
  }
  static void SetPending(int waiting, int cacheAnswered) {
    PendingCount = 0;
    for (int i = 0; i < waiting + cacheAnswered; ++i) {
      AddPending(MakeRequest("name", "10.0.0.9", 1));
      if (i >= waiting) PendingTable[static_cast<std::size_t>(i)].AnsweredAt = 1;
    }
  }
};

TEST_F(Statistics, SharesAddUpByTheRemainderRulesAndTheGainIsShownByItsSize) {
  const struct {
    const char* what;
    std::array<int, 4> counters;
    int waiting, cache, server, lost;
    double wtime;
    const char* gain;
  } cases[] = {
      {"remainder to the cache", {3, 1, 1, 1}, 0, 34, 33, 33, 1234, "1.234 sec"},
      {"remainder to the lost ones", {7, 0, 3, 2}, 0, 0, 43, 57, 60000, "60 sec"},
      {"excess from the name servers, halves to even", {200, 1, 199, 3}, 0, 0, 98, 2, 60001, "1 min"},
      {"waiting ones are not settled", {5, 2, 1, 0}, 2, 67, 33, 0, 3600000, "60 min"},
      {"150 percent, and an excess taken from nothing, are not shown", {2, 3, 0, 0}, 0, 67, 33, 0, 3600001, "1 h"},
      {"nothing settled", {2, 0, 0, 0}, 2, 0, 0, 0, 0, "0 sec"},
      {"a share that overflows counts as nothing", {1, 0, 5000, 0}, 0, 0, 0, 100, 0, "0 sec"},
      {"all from the cache", {5, 5, 0, 0}, 0, 100, 0, 0, 0, "0 sec"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    SetCounters(c.counters, c.wtime);
    SetPending(c.waiting, 3);
    UpDateStatistic();
    EXPECT_EQ(std::tuple(display.cache, display.server, display.lost), std::tuple(c.cache, c.server, c.lost));
    EXPECT_EQ(std::pair(display.waiting, display.gain), std::pair(std::to_string(c.waiting), std::string(c.gain)));
  }
}

TEST_F(Statistics, CountersAgeOnceTheTotalHasPassed10000) {
  const struct {
    const char* what;
    std::array<int, 4> counters;
    double wtime;
    std::array<int, 4> aged;
  } cases[] = {
      {"not yet", {10000, 5000, 5000, 0}, 0, {10000, 5000, 5000, 0}},
      {"difference to the name servers", {10001, 5005, 5015, 10}, 0, {9001, 4504, 4488, 9}},
      {"the gain is part of the sum", {10001, 5000, 5000, 1}, 100.5, {9001, 4500, 4400, 1}},
      {"too much for the name servers", {10001, 9000, 1000, 1}, 2000, {9001, 6100, 900, 1}},
      {"too much for 16 bits", {10001, 5000, 5000, 1}, 1e6, {9001, 4500, 4500, 1}},
  };
  for (const auto& c : cases) {
    SetCounters(c.counters, c.wtime);
    UpDateStatistic();
    EXPECT_EQ((std::array<int, 4>{TOTALQ, ACACHE, ADNS, NOTANSWERED}), c.aged) << c.what;
  }
}

TEST_F(Statistics, ServerCountersAgeAndTheFirstFittingRowTakesTheDifference) {
  const std::tuple<std::array<std::int16_t, 2>, int, std::array<std::int16_t, 2>> cases[] = {
      {{5000, 5000}, 10000, {5000, 5000}}, {{5, 15}, 10001, {4, 14}}, {{10, 9981}, 10001, {9, 8992}}};
  for (const auto& [winning, total, aged] : cases) {
    std::copy(winning.begin(), winning.end(), ServerWinning.begin());
    TotalWinning = static_cast<std::int16_t>(total);
    MakeListView();
    EXPECT_EQ(std::pair(ServerWinning[0], ServerWinning[1]), std::pair(aged[0], aged[1]));
    EXPECT_EQ(TotalWinning, total == 10000 ? 10000 : 9001);
  }
}

TEST_F(Statistics, ClearingKeepsWhatIsInFlightAndTheWinners) {
  SetCounters({100, 50, 40, 5}, 70000);
  SetPending(5, 2);
  ServerResponded.fill(kTrue);
  ServerWinning[0] = 40;
  ClearStatistics();
  EXPECT_EQ(std::tuple(TOTALQ, ACACHE, ADNS, NOTANSWERED, WTIME), std::tuple(5, 0, 0, 0, 0.0));
  EXPECT_EQ(std::tuple(ServerResponded[15], ServerWinning[0]), std::tuple(kFalse, 40));
  EXPECT_EQ(display.waiting + " " + display.gain, "5 0 sec");
}

}  // namespace
}  // namespace quenvar
