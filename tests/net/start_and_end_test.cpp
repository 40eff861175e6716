// Starts that go well and starts that do not, and the files as the program leaves them behind.
#include <signal.h>

#include "program.h"

namespace quenvar::lab {
namespace {

namespace fs = std::filesystem;

using Settings = LabTest;

// The number with a comma, as the user's region writes it.
TEST_F(Settings, BeginWithTheTemplateTakeTheFilesOfOldOverAndKeepForeignLines) {
  const fs::path old = home_.ProgramFile("DnsIp.dat");
  WriteFile(old, "header\n10.53.0.1,\"Server, 1\", 1 ,120");
  const std::string foreign = "; by hand\n[options]\nColour=red ; text\nno key\n";
  fs::remove(home_.SettingsFile());
  fs::create_directories(home_.root / "templates");
  WriteFile(home_.root / "templates" / "QUENVAR.INI",
            foreign + "[Other]\nNOCACHE=keep\n[STATISTICS]\nWTIME=123456\nNOTANSWERED=1234.5");
  Program(home_, {.environment = {{"LC_ALL", "de_DE.UTF-8"}}}).Terminate();
  EXPECT_FALSE(fs::exists(old));
  const std::string saved = ReadFile(home_.SettingsFile());
  EXPECT_TRUE(saved.starts_with(foreign + "SYSTRAY=No\nNOCACHE=No\n[Other]\nNOCACHE=keep\n")) << saved;
  EXPECT_EQ(home_.Setting("DNS_0_DESC"), "Server, 1");
  EXPECT_EQ(home_.Setting("WTIME"), "1234,5");
}

TEST_F(Settings, AreSavedWhenTheDisplayGoes) {
  const Screen screen;
  Program program(home_, {.display = screen.Display()});
  ASSERT_TRUE(screen.Shows("Quenvar"));
  screen.End();
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_EQ(home_.Setting("TOTALQ"), "0");
}

using Startup = LabTest;

TEST_F(Startup, ATakenPortIsReportedInABoxAndNothingIsServedOrCountedMeanwhile) {
  WriteFile(home_.SettingsFile(), SettingsFor({1}) + "[STATISTICS]\nWTIME=1\nTOTALQ=5\n");
  for (const bool udp : {true, false}) {
    const Screen screen;
    const auto taken = udp ? nullptr : Listen(Place::Home);
    const Endpoint inTheWay(Place::Home, "0.0.0.0", udp ? 53 : 0);
    Program program(home_, {.display = screen.Display(), .serves = false});
    ASSERT_TRUE(screen.Shows("Error")) << program.StandardError();
    EXPECT_EQ(screen.Count("Quenvar"), 0) << "the window is never shown";
    for (int i = 0; !udp && i < 310; ++i) client_.Ask(Query(i, "while.the.box.is.open"));
    screen.PressEnter("Error");
    EXPECT_EQ(program.Wait(), 2);
    EXPECT_EQ(home_.Setting("DNS_0_NAME") + home_.Setting("DNS_0_ENABLED"), ServerAt(1) + "Yes");
    EXPECT_EQ(home_.Setting("TOTALQ"), "5");
  }
}

TEST_F(Startup, AUserWhoMayNotBindPort53IsToldOnStandardError) {
  Program program(home_, {.serves = false, .mayBindPort53 = false});
  EXPECT_EQ(program.Wait(), 2);
  for (const char* text : {"Initialisation error:13, please check your TCP/IP setup.", "sudo ./run"})
    EXPECT_NE(program.StandardError().find(text), std::string::npos) << program.StandardError();
}

// In a network of its own the second copy could have port 53, so only the first copy keeps it from running, whatever
// login it comes from. In the same login it shows the first copy's window, also where that does nothing at the moment.
TEST_F(Startup, ASecondCopyShowsTheFirstOnesWindowAndEndsAtOnce) {
  const std::string settings = SettingsFor({1}, "No", "SYSTRAY=Yes\n");
  WriteFile(home_.SettingsFile(), settings);
  const Screen screen;
  {
    const Program first(home_, {.display = screen.Display()});
    const std::map<std::string, std::string> another = {{"XDG_RUNTIME_DIR", home_.root}};
    EXPECT_EQ(Program(home_, {.serves = false, .place = Place::Lonely, .environment = another}).Wait(), 0);
    for (const int signal : {SIGCONT, SIGSTOP}) {
      EXPECT_EQ(screen.Count("Quenvar"), signal == SIGCONT ? 0 : 1);
      first.Signal(signal);
      const auto start = std::chrono::steady_clock::now();
      EXPECT_EQ(Program(home_, {.serves = false}).Wait(), 0);
      EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
      EXPECT_TRUE(screen.Shows("Quenvar"));
    }
    first.Signal(SIGCONT);
    EXPECT_EQ(ReadFile(home_.SettingsFile()), settings);
  }
  const Program next(home_);  // once the first copy has ended, another one runs
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
