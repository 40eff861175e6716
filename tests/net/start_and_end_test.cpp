// Starts that go well and starts that do not, and the files as the program leaves them behind.
#include <signal.h>
#include <sys/mount.h>

#include "program.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;

class Settings : public LabTest {
 protected:
  /// Starts the program on a settings file, lets it serve and ends it: what the file then holds.
  std::string After(const std::string& settings, const std::string& region = "C.UTF-8") {
    WriteFile(home_.SettingsFile(), settings);
    Program program(home_, {.environment = {{"LC_ALL", region}}});
    program.Terminate();
    return ReadFile(home_.SettingsFile());
  }
};

TEST_F(Settings, AllKeysAreWrittenInOrderAndForeignLinesStay) {
  std::string rest = "[N_SERVERS]\nNDNS=0\n[NAMESERVER]\n";
  for (int row = 0; row < 10; ++row) {
    const std::string key = "DNS_" + std::to_string(row);
    rest += key + "_NAME=\n" + key + "_DESC=\n" + key + "_ENABLED=No\n" + key + "_WINNING=0\n";
  }
  rest += "[STATISTICS]\nWTIME=0\nADNS=0\nACACHE=0\nNOTANSWERED=0\nTOTALQ=0\n";
  const std::string fresh = "[OPTIONS]\nSYSTRAY=No\nNOCACHE=No\n" + rest;
  EXPECT_EQ(After(""), fresh);
  EXPECT_EQ(After(fresh), fresh);
  EXPECT_EQ(After("; by hand\n[options]\nColour=red ; text\nno key\n[Other]\nNOCACHE=keep"),
            "; by hand\n[options]\nColour=red ; text\nno key\nSYSTRAY=No\nNOCACHE=No\n[Other]\nNOCACHE=keep\n" + rest);
}

TEST_F(Settings, NumbersAreWrittenAsTheUsersRegionWritesThem) {
  After("[STATISTICS]\nWTIME=123456\nNOTANSWERED=1234.5\n", "de_DE.UTF-8");
  EXPECT_EQ(home_.Setting("WTIME"), "1234,5");
}

TEST_F(Settings, TheOldServerFileIsTakenOverOnce) {
  const fs::path old = home_.ProgramFile("DnsIp.dat");
  WriteFile(old, "header\n10.53.0.1,\"Server, 1\", 1 ,120");
  After("");
  EXPECT_FALSE(fs::exists(old));
  EXPECT_EQ(home_.Setting("DNS_0_DESC"), "Server, 1");
}

TEST_F(Settings, AFullDiskLeavesTheOldFileWhole) {
  const fs::path directory = home_.root / "config";
  ASSERT_EQ(mount("full", directory.c_str(), "tmpfs", 0, "size=64k"), 0);
  const std::string old = SettingsFor({1}) + "; the end\n";
  WriteFile(home_.SettingsFile(), old);
  WriteFile(directory / "filler", std::string(64 << 10, 'x'));
  EXPECT_EQ(After(old), old);
  fs::remove(directory / "filler");
  EXPECT_NE(After(old), old) << "with room again it is saved";
}

using Startup = LabTest;

TEST_F(Startup, ATakenPortIsReportedInABoxAndTheListIsKept) {
  for (const bool udp : {true, false}) {
    const Screen screen;
    const auto taken = udp ? nullptr : Listen(Place::Home);
    const Endpoint inTheWay(Place::Home, "0.0.0.0", udp ? 53 : 0);
    Program program(home_, {.display = screen.Display(), .serves = false});
    ASSERT_TRUE(screen.Shows("Error")) << program.StandardError();
    EXPECT_EQ(screen.Count("Quenvar"), 0) << "the window is never shown";
    screen.PressEnter("Error");
    EXPECT_EQ(program.Wait(), 2);
    EXPECT_EQ(home_.Setting("DNS_0_NAME"), ServerAt(1));
  }
}

TEST_F(Startup, AUserWhoMayNotBindPort53IsToldOnStandardError) {
  Program program(home_, {.serves = false, .mayBindPort53 = false});
  EXPECT_EQ(program.Wait(), 2);
  for (const char* text : {"Initialisation error:13, please check your TCP/IP setup.", "sudo ./run"})
    EXPECT_NE(program.StandardError().find(text), std::string::npos) << program.StandardError();
}

// In a network of its own the second copy could have port 53, so only the first copy keeps it from running. The
// settings are what the two would share; each of them may come from another login.
TEST_F(Startup, ASecondCopyEndsAtOnceAndLeavesTheSettingsAlone) {
  {
    const Program first(home_);
    ASSERT_TRUE(RoundTrip());
    for (const Place place : {Place::Home, Place::Lonely}) {
      Program second(home_, {.serves = false, .place = place, .environment = {{"XDG_RUNTIME_DIR", home_.root}}});
      EXPECT_EQ(second.Wait(), 0);
      EXPECT_EQ(second.StandardError().find("rror"), std::string::npos) << second.StandardError();
    }
    EXPECT_EQ(ReadFile(home_.SettingsFile()), SettingsFor({1}));
    EXPECT_TRUE(RoundTrip());
  }
  const Program next(home_);  // once the first copy has ended, another one runs
}

// Where there is no tray, it is the way back to a hidden window.
TEST_F(Startup, ASecondStartShowsAHiddenWindowWhateverTheFirstCopyDoes) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}, "No", "SYSTRAY=Yes\n"));
  const Screen screen;
  const Program first(home_, {.display = screen.Display()});
  EXPECT_EQ(screen.Count("Quenvar"), 0);
  for (const int signal : {SIGCONT, SIGSTOP}) {
    first.Signal(signal);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Program(home_, {.display = screen.Display(), .serves = false}).Wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(screen.Shows("Quenvar"));
  }
  first.Signal(SIGCONT);
}

// The host's name is unknown here and its resolver is the first name server, which stays silent.
TEST_F(Startup, AHostWithoutInterfacesStartsAndNothingIsLookedUp) {
  for (const Place place : {Place::Lonely, Place::Home}) {
    const Program program(home_, {.place = place});
    EXPECT_FALSE(servers_.Next(std::chrono::milliseconds(500)));
  }
  EXPECT_FALSE(servers_.Next(kNow)) << "nor at the end";
}

}  // namespace
}  // namespace quenvar::lab
