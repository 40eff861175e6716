// Starts that go well and starts that do not.
#include <signal.h>

#include "program.h"
#include "screen.h"
#include "wire.h"

namespace quenvar::lab {
namespace {

using Startup = LabTest;

TEST_F(Startup, ATakenPortIsReportedInABoxAndTheListIsKept) {
  const Screen screen;
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1, 2}));
  const Endpoint taken(Place::Home, 53);
  Program program(home, {.display = screen.Display()});
  ASSERT_TRUE(screen.Shows("Error"));
  EXPECT_TRUE(program.Runs());
  EXPECT_EQ(screen.Count("Quenvar"), 0) << "the window is never shown";
  screen.Press("Error", "Return");
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_EQ(home.Setting("DNS_0_NAME"), ServerAt(1));
  EXPECT_EQ(home.Setting("DNS_1_ENABLED"), "Yes");
  EXPECT_EQ(home.Setting("NOCACHE"), "Yes");
}

TEST_F(Startup, AUserWhoMayNotBindPort53IsToldOnStandardError) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1}));
  Program program(home, {.display = "", .mayBindPort53 = false});
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_NE(program.StandardError().find("Initialisation error:13, please check your TCP/IP setup."), std::string::npos)
      << program.StandardError();
  EXPECT_EQ(home.Setting("DNS_0_NAME"), ServerAt(1));
}

// In a network of its own the second copy could have port 53, so only the first copy keeps it from running.
TEST_F(Startup, ASecondCopyEndsAtOnceAndLeavesTheSettingsAlone) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1}));
  Servers servers;
  Program first(home);
  ASSERT_TRUE(first.Serves());
  Client client;
  ASSERT_TRUE(RoundTrip(client, servers));
  const std::string settings = ReadFile(home.SettingsFile());
  for (const Place place : {Place::Home, Place::Lonely}) {
    Visit visit(place);
    Program second(home);
    EXPECT_GE(second.Wait(), 0) << "it had to be killed";
  }
  EXPECT_EQ(ReadFile(home.SettingsFile()), settings);
  EXPECT_TRUE(RoundTrip(client, servers));
  EXPECT_EQ(first.Terminate(), 0);

  Program next(home);
  EXPECT_TRUE(next.Serves()) << "once the first copy has ended, another one runs";
}

TEST_F(Startup, ACopyThatWasKilledDoesNotKeepTheNextFromRunning) {
  const Home home;
  Program killed(home);
  ASSERT_TRUE(killed.Serves());
  killed.Signal(SIGKILL);
  killed.Wait();
  Program next(home);
  EXPECT_TRUE(next.Serves());
  EXPECT_EQ(next.Terminate(), 0);
}

TEST_F(Startup, AHostWithoutInterfacesStarts) {
  const Home home;
  Visit visit(Place::Lonely);
  Program program(home);
  EXPECT_TRUE(program.Serves());
  EXPECT_EQ(program.Terminate(), 0) << program.StandardError();
}

// The host's name is unknown here and its resolver is the first name server, which stays silent.
TEST_F(Startup, NothingIsLookedUp) {
  const Home home;
  WriteFile(home.SettingsFile(), SettingsFor({1}));
  Servers servers;
  const auto start = std::chrono::steady_clock::now();
  Program program(home);
  ASSERT_TRUE(program.Serves());
  Client client;
  client.Ask(Query(1, "first.test"));
  const auto query = servers.Next();
  ASSERT_TRUE(query);
  EXPECT_EQ(query->bytes, Query(1, "first.test")) << "the program asked for something itself";
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "a look-up waits for 5 seconds";
  EXPECT_EQ(program.Terminate(), 0);
  EXPECT_FALSE(servers.Next(std::chrono::milliseconds(0)));
}

}  // namespace
}  // namespace quenvar::lab
