#include "engine/startup.h"

#include <cerrno>

#include "platform/record_store.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/fake_tcp.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class StartAndEnd : public Service {
 protected:
  StartAndEnd() {
    platform.records = &records;
    platform.IPDaemon = &listener;
    platform.IPPort = &clients;
    SetValue("NAMESERVER", "DNS_0_NAME", "10.1.0.1");
    SetValue("NAMESERVER", "DNS_0_DESC", "first");
    SetValue("NAMESERVER", "DNS_0_ENABLED", "Yes");
    SetValue("NAMESERVER", "DNS_2_NAME", "10.1.0.3");
    SetValue("NAMESERVER", "DNS_3_NAME", "10.0.0.1");
  }

  void SetValue(const std::string& section, const std::string& key, const std::string& value) {
    profile.values[{section, key}] = value;
  }
  std::string Value(const std::string& section, const std::string& key) { return profile.values[{section, key}]; }

  FakeRecordStore records;
  FakeTcpListener listener;
  FakeTcpClients clients;
};

TEST_F(StartAndEnd, TheStepsOfTheStartAreInOrder) {
  files.files["/program/dnsip.dat"] = "header";
  Startup();
  EXPECT_EQ(trace, (Trace{"save", "font Arial", "font Tahoma", "instance?", "udp 0", "udp 53", "randomize", "add icon",
                          "first tab", "tab update", "show"}));
  EXPECT_TRUE(files.files.empty());
  EXPECT_EQ(AppPath, "/program/");
  EXPECT_EQ(ProgramVersion, "2.0.7");
  EXPECT_EQ(HelpFile, "/program/Quenvar.hlp");
  EXPECT_EQ(LogLines(),
            (std::vector<std::string>{"INIT: Add DNS server: ", "     * 10.1.0.1 / first", "       10.1.0.3 / "}))
      << "an own address is not listed";
  EXPECT_EQ(EngineReady, kTrue);
  EXPECT_EQ(ServerListChanged, kTrue);
  EXPECT_EQ(timer.interval, 10000);
  EXPECT_TRUE(timer.running);
  EXPECT_TRUE(upstream.accepting && downstream.accepting);
  EXPECT_EQ(listener.localPort, 53);
}

TEST_F(StartAndEnd, ATakenPortShowsItsBoxAndKeepsTheList) {
  downstream.bindError = kErrorAddressInUse;
  Startup();
  EXPECT_EQ(Value("NAMESERVER", "DNS_0_NAME"), "10.1.0.1");
  EXPECT_EQ(trace.back(), "quit 2");
}

TEST_F(StartAndEnd, OtherSocketErrorsGoToTheLogAndStandardError) {
  listener.activateError = EACCES;
  Startup();
  EXPECT_EQ(LogLines(), std::vector<std::string>{"Initialisation error:13, please check your TCP/IP setup."});
  ASSERT_EQ(process.reports.size(), 2u);
  EXPECT_EQ(process.reports[0], LogLines()[0]);
  EXPECT_NE(process.reports[1].find("sudo ./run"), std::string::npos);
  EXPECT_TRUE(boxes.shown.empty());
  EXPECT_EQ(Value("NAMESERVER", "DNS_2_NAME"), "10.1.0.3");
  EXPECT_EQ(trace.back(), "quit 2");
}

TEST_F(StartAndEnd, WithoutItsFontTheProgramEnds) {
  window.missingFont = "Tahoma";
  Startup();
  EXPECT_EQ(trace, (Trace{"font Arial", "font Tahoma", "box Quenvar", "quit 2"}));
  window.missingFont = "Arial";
  trace.clear();
  Startup();
  EXPECT_EQ(trace.back(), "show") << "the first face does not matter";
}

TEST_F(StartAndEnd, WithoutNetworkTheStartGoesOn) {
  const std::pair<void (*)(FakeNetwork&), std::size_t> cases[] = {
      {[](FakeNetwork& none) { none.started.error = 10091; }, 2},
      {[](FakeNetwork& version09) { version09.started.version = 0x0900; }, 2},
      {[](FakeNetwork& version10) { version10.started.version = 0x0001; }, 2},
      {[](FakeNetwork& nameless) { nameless.hostName = "  "; }, 1},
      {[](FakeNetwork& noAddress) { noAddress.addresses.clear(); }, 1},
      {[](FakeNetwork& noCleanEnd) { noCleanEnd.stopError = 1; }, 1},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(&one - cases);
    const auto& [fail, failures] = one;
    network = FakeNetwork();
    fail(network);
    ClearLog();
    Startup();
    Trace expected(failures, "Unable to initialise winsock.dll. Check your Internet setup.");
    expected.push_back("INIT: Add DNS server: ");
    Trace begin = LogLines();
    begin.resize(expected.size());
    EXPECT_EQ(begin, expected);
  }
}

TEST_F(StartAndEnd, TheEndSavesThenTakesTheIconAndTheWindowsAway) {
  Startup();
  trace.clear();
  UnloadMainWindow(UnloadMode::ControlMenu);
  EXPECT_EQ(trace, Trace{"hide"}) << "closing only hides";
  trace.clear();
  UnloadMainWindow(UnloadMode::ControlMenu);
  EXPECT_EQ(trace, Trace{}) << "and hides a hidden window no further";
  RequestQuit();
  EXPECT_EQ(trace, (Trace{"save", "remove icon", "unload others", "quit 0"}));
  EXPECT_EQ(profile.written.front(), "OPTIONS/SYSTRAY=No");
}

TEST_F(StartAndEnd, QuittingAsksFirst) {
  boxes.answer = BoxAnswer::Cancel;
  ConfirmAndQuit();
  EXPECT_EQ(trace, Trace{"box QUIT"});
  EXPECT_EQ(QuitConfirmed, kFalse);
  boxes.answer = BoxAnswer::Ok;
  ConfirmAndQuit();
  EXPECT_EQ(trace.back(), "quit 0");
  EXPECT_EQ(QuitConfirmed, kTrue);
}

TEST_F(StartAndEnd, AQuitAskedForDuringTheStartIsCarriedOutByTheFirstTick) {
  // The window asks for the end while it is shown for the first time.
  struct QuittingWindow : FakeMainWindow {
    using FakeMainWindow::FakeMainWindow;
    void ShowWindow() override { QuitRequested = kTrue; }
  } quitting(trace);
  mainWindow = &quitting;
  Startup();
  EXPECT_EQ(timer.interval, 1);
  EXPECT_TRUE(timer.running);
  OnTimer1();
  EXPECT_EQ(trace.back(), "quit 0");
  EXPECT_EQ(HousekeepingTicks, 0) << "nothing else is done on this tick";
}

TEST_F(StartAndEnd, ARequestShowsAWindowThatThereIs) {
  ShowMainWindow();
  EXPECT_EQ(trace, Trace{}) << "the start goes on, or has failed";
  StayHiddenAtStart();
  ShowMainWindow();
  EXPECT_FALSE(WindowHidden);
  trace.clear();
  ShowMainWindow();
  EXPECT_EQ(trace, Trace{"show"}) << "to the front";
}

}  // namespace
}  // namespace quenvar
