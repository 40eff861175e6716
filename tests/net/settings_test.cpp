// The settings file and the old server file, as the program leaves them behind.
#include <signal.h>
#include <sys/mount.h>

#include <random>

#include "program.h"
#include "screen.h"
#include "wire.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;

using Settings = LabTest;

std::string EmptyRow(int row) {
  const std::string key = "DNS_" + std::to_string(row);
  return key + "_NAME=\n" + key + "_DESC=\n" + key + "_ENABLED=No\n" + key + "_WINNING=0\n";
}

std::string EmptyRows(int first) {
  std::string rows;
  for (int row = first; row < 10; ++row) rows += EmptyRow(row);
  return rows;
}

const std::string kNoCounters = "[STATISTICS]\nWTIME=0\nADNS=0\nACACHE=0\nNOTANSWERED=0\nTOTALQ=0\n";

std::string FreshSettings() {
  return "[OPTIONS]\nSYSTRAY=No\nNOCACHE=No\n[N_SERVERS]\nNDNS=0\n[NAMESERVER]\n" + EmptyRows(0) + kNoCounters;
}

/// Starts the program, lets it serve and ends it: what the settings file then holds.
std::string SettingsAfterRun(const Home& home) {
  Program program(home);
  EXPECT_TRUE(program.Serves());
  EXPECT_EQ(program.Terminate(), 0) << program.StandardError();
  return ReadFile(home.SettingsFile());
}

TEST_F(Settings, AFreshFileHoldsAllKeysInOrderAfterSigterm) {
  const Home home;
  EXPECT_EQ(SettingsAfterRun(home), FreshSettings());
  EXPECT_EQ(SettingsAfterRun(home), FreshSettings()) << "and after a second run";
}

TEST_F(Settings, TheExitCommandSavesTheSame) {
  const Screen screen;
  const Home home;
  Program program(home, {.display = screen.Display()});
  ASSERT_TRUE(screen.Shows("Quenvar"));
  screen.Press("Quenvar", "ctrl+q");
  EXPECT_EQ(program.Wait(), 0) << program.StandardError();
  EXPECT_EQ(ReadFile(home.SettingsFile()), FreshSettings());
}

TEST_F(Settings, WhatIsNotOursSurvivesAsItStands) {
  const Home home;
  WriteFile(home.SettingsFile(),
            "; by hand\r\n[Other]\r\nNOCACHE=keep\r\n\r\n[options]\r\nnocache = y\r\nColour=red ; text\r\n"
            "no key\r\n[NAMESERVER]\r\nDNS_10_NAME=beyond\r\nDNS_0_DESC=old\r\n[Last]\r\nx=1");
  const std::string after = SettingsAfterRun(home);
  EXPECT_TRUE(after.starts_with("; by hand\r\n[Other]\r\nNOCACHE=keep\r\n\r\n[options]\r\n")) << after;
  for (const char* line : {"\r\nColour=red ; text\r\n", "\r\nno key\r\n", "\r\nDNS_10_NAME=beyond\r\n",
                           "\r\nDNS_0_DESC=old\r\n", "\r\n[Last]\r\nx=1\r\n", "\r\nDNS_9_WINNING=0\r\n"})
    EXPECT_NE(after.find(line), std::string::npos) << line << "is not in\n" << after;
  EXPECT_EQ(after.find("No\r\n\r\n"), std::string::npos);
  EXPECT_EQ(SettingsAfterRun(home), after) << "a second run changes nothing";
}

TEST_F(Settings, LoadingRulesHoldFromFileToFile) {
  struct Case {
    const char* before;
    std::map<std::string, std::string> after;
  };
  const std::string hundred(100, '9');
  const std::string longName = "[NAMESERVER]\nDNS_3_NAME=" + hundred + "\n";
  const Case cases[] = {
      {"[OPTIONS]\nSYSTRAY=yes please\nNOCACHE=1\n", {{"SYSTRAY", "Yes"}, {"NOCACHE", "No"}}},
      {"[OPTIONS]\nSYSTRAY=TRUE\nNOCACHE=YES\n", {{"SYSTRAY", "No"}, {"NOCACHE", "Yes"}}},
      {"[STATISTICS]\nWTIME=0\nADNS=57\nTOTALQ=123\n", {{"WTIME", "0"}, {"ADNS", "5"}, {"TOTALQ", "1"}}},
      {"[STATISTICS]\nWTIME=98765\nADNS=57\nACACHE=-3x\nNOTANSWERED=12\nTOTALQ=123456\n",
       {{"WTIME", "12"}, {"ADNS", "57"}, {"ACACHE", "-3"}, {"NOTANSWERED", "0"}, {"TOTALQ", "12345"}}},
      {"[STATISTICS]\nWTIME=1.5\nADNS=99999\nTOTALQ=7\n", {{"WTIME", "0"}, {"ADNS", "999"}, {"TOTALQ", "7"}}},
      {"[STATISTICS]\nWTIME=12345\nADNS=99999\nNOTANSWERED=3\nTOTALQ=7\n",
       {{"WTIME", "12345"}, {"ADNS", "0"}, {"NOTANSWERED", "0"}, {"TOTALQ", "0"}}},
      {"[N_SERVERS]\nNDNS=40000\n[NAMESERVER]\nDNS_0_NAME=10.53.0.1\n", {{"NDNS", "0"}, {"DNS_0_NAME", ""}}},
      {longName.c_str(), {{"DNS_3_NAME", hundred.substr(0, 79)}}},
  };
  for (const Case& one : cases) {
    const Home home;
    WriteFile(home.SettingsFile(), one.before);
    SettingsAfterRun(home);
    for (const auto& [key, value] : one.after) EXPECT_EQ(home.Setting(key), value) << key << " from\n" << one.before;
  }
}

TEST_F(Settings, QueriesStillWaitingAreNotSavedAsCounted) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1}));
  Servers servers;
  Program program(home);
  ASSERT_TRUE(program.Serves());
  Client client;
  EXPECT_TRUE(RoundTrip(client, servers));
  for (std::uint16_t i = 0; i < 5; ++i) client.Ask(Query(i, "nobody-answers.test"));
  EXPECT_EQ(servers.Next(std::size_t{5}).size(), 5u);
  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_EQ(home.Setting("TOTALQ"), "1");
}

TEST_F(Settings, TheOldServerFileIsTakenOverOnce) {
  const Home home;
  const fs::path old = home.ProgramFile("DnsIp.dat");
  std::string content = "header";
  for (int i = 1; i <= 12; ++i) {
    const std::string number = std::to_string(i);
    content += std::string("\n10.53.0.") + number + ",\"Server, " + number + "\", 1 ," + number + "0";
  }
  WriteFile(old, content);
  SettingsAfterRun(home);
  EXPECT_FALSE(fs::exists(old));
  EXPECT_EQ(home.Setting("DNS_0_NAME"), "10.53.0.1");
  EXPECT_EQ(home.Setting("DNS_0_DESC"), "Server, 1");
  EXPECT_EQ(home.Setting("DNS_9_ENABLED"), "Yes");
  EXPECT_EQ(home.Setting("DNS_11_WINNING"), "120");
  EXPECT_EQ(home.Setting("NDNS"), "0");
}

// The file is long, so that writing it takes a good part of the time between the signals.
TEST_F(Settings, AKillAtAnyMomentOfASaveLeavesTheOldFileOrTheNew) {
  const Home home;
  std::string old = "[Other]\n";
  while (old.size() < (4u << 20)) old += "; a line of somebody else's, number " + std::to_string(old.size()) + "\n";
  WriteFile(home.SettingsFile(), old);
  Program first(home);
  ASSERT_TRUE(first.Serves());
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(first.Terminate(), 0);
  const auto whole = std::chrono::steady_clock::now() - start;
  const std::string saved = ReadFile(home.SettingsFile());
  ASSERT_NE(saved, old);

  std::mt19937 random(53);
  std::uniform_real_distribution<double> fraction(0, 1);
  int survivedOld = 0;
  for (int round = 0; round < 50; ++round) {
    WriteFile(home.SettingsFile(), old);
    Program program(home);
    ASSERT_TRUE(program.Serves());
    program.Signal(SIGTERM);
    std::this_thread::sleep_for(whole * fraction(random));
    program.Signal(SIGKILL);
    program.Wait();
    const std::string left = ReadFile(home.SettingsFile());
    survivedOld += left == old;
    ASSERT_TRUE(left == old || left == saved) << "a piece of " << left.size() << " bytes in round " << round;
  }
  std::printf("of 50 kills, %d came before the new file was in place\n", survivedOld);
}

TEST_F(Settings, AFullDiskLeavesTheOldFileWhole) {
  const Home home;
  ASSERT_EQ(mount("full", home.ConfigDirectory().c_str(), "tmpfs", 0, "size=64k"), 0);
  const std::string old = SettingsFor({1}) + "; the end\n";
  WriteFile(home.SettingsFile(), old);
  WriteFile(home.ConfigDirectory() / "filler", std::string(64 << 10, 'x'));
  EXPECT_EQ(SettingsAfterRun(home), old);
  fs::remove(home.ConfigDirectory() / "filler");
  EXPECT_NE(SettingsAfterRun(home), old) << "with room again it is saved";
}

}  // namespace
}  // namespace quenvar::lab
