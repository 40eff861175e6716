#include "engine/program/startup.h"

#include <algorithm>
#include <cerrno>

#include "tcp/tcp_relay.h"
#include "tests/fakes/fake_record_store.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class StartAndEnd : public Service {
 protected:
  StartAndEnd() {
    platform.records = &records;
    profile.values = {{{"NAMESERVER", "DNS_0_NAME"}, "10.1.0.1"},
                      {{"NAMESERVER", "DNS_0_DESC"}, "first"},
                      {{"NAMESERVER", "DNS_0_ENABLED"}, "Yes"},
                      {{"NAMESERVER", "DNS_2_NAME"}, "10.1.0.3"},
                      {{"NAMESERVER", "DNS_3_NAME"}, "10.0.0.1"}};
  }

  FakeRecordStore records;
};

TEST_F(StartAndEnd, TheStartListsTheServersButNoOwnAddressAndTakesSlotsThatAreFree) {
  Startup();
  EXPECT_EQ(LogLines(), (Trace{"INIT: Add DNS server: ", "     * 10.1.0.1 / first", "       10.1.0.3 / "}));
  EXPECT_TRUE(timer.running && timer.interval == 10000);
  for (std::int16_t connection = 1; connection < 4; ++connection) {
    AssignSlot(connection);
    FreeSlot(SlotOfConnection(connection));
  }
  EXPECT_EQ(SlotUpper, 0);
}

TEST_F(StartAndEnd, AnEndBeforeTheSettingsAreReadKeepsThem) {
  window.missingFont = "Tahoma";
  boxes.whileOpen = [] { UnloadMainWindow(UnloadMode::SessionEnd); };
  Startup();
  EXPECT_EQ(trace, (Trace{"box Quenvar", "save", "remove icon", "unload others", "quit 0", "quit 2"}));
  EXPECT_EQ((profile.values[{"NAMESERVER", "DNS_0_DESC"}]), "first");
}

TEST_F(StartAndEnd, WithoutNetworkTheStartGoesOn) {
  const std::pair<void (*)(FakeNetwork&), std::size_t> cases[] = {
      {[](FakeNetwork& none) { none.started.error = 10091; }, 2},
      {[](FakeNetwork& version09) { version09.started.version = 0x0900; }, 2},
      {[](FakeNetwork& version10) { version10.started.version = 0x0001; }, 2},
      {[](FakeNetwork& nameless) { nameless.hostName = "  "; }, 1},
      {[](FakeNetwork& noAddress) { noAddress.addresses.clear(); }, 1},
      {[](FakeNetwork& noCleanEnd) { noCleanEnd.stopError = 1; }, 1},
      {[](FakeNetwork& many) { many.addresses.assign(20, 1); }, 0},
  };
  for (const auto& [fail, failures] : cases) {
    network = FakeNetwork();
    fail(network);
    ClearLog();
    Startup();
    const Trace lines = LogLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "Unable to initialise winsock.dll. Check your Internet setup."),
              failures);
    EXPECT_EQ(trace.back(), "show");
    EXPECT_LE(OwnAddressCount, 16);
  }
}

TEST_F(StartAndEnd, TheEndIsAskedForAndSavesThenTakesTheIconAndTheWindowsAway) {
  Startup();
  trace.clear();
  for (int turn = 0; turn < 2; ++turn) UnloadMainWindow(UnloadMode::ControlMenu);
  boxes.answer = BoxAnswer::Cancel;
  ConfirmAndQuit();
  boxes.answer = BoxAnswer::Ok;
  ConfirmAndQuit();
  EXPECT_EQ(trace, (Trace{"hide", "box QUIT", "box QUIT", "save", "remove icon", "unload others", "quit 0"}));
  EXPECT_EQ(profile.written.front(), "OPTIONS/SYSTRAY=No");
  EXPECT_EQ(QuitConfirmed, kTrue);
}

TEST_F(StartAndEnd, AQuitAskedForDuringTheStartIsCarriedOutByTheFirstTick) {
  // The window asks for the end while it is shown for the first time.
  struct QuittingWindow : FakeMainWindow {
    void ShowWindow() override { QuitRequested = kTrue; }
  } quitting;
  mainWindow = &quitting;
  Startup();
  EXPECT_EQ(timer.interval, 1);
  OnTimer1();
  EXPECT_EQ(trace.back(), "quit 0");
}

TEST_F(StartAndEnd, ARequestDuringTheStartShowsNoWindow) {
  ShowMainWindow();
  EXPECT_EQ(trace, Trace{});
}

TEST_F(StartAndEnd, WhoSeesNoWindowIsToldOnceByTheDesktop) {
  struct NoTray : TrayView {
    bool IsThere() const override { return false; }
  } none;
  for (int turn = 0; turn < 4; ++turn) ToggleWindow();
  EXPECT_EQ(desktop.notices, Trace());
  tray = &none;
  for (int turn = 0; turn < 4; ++turn) ToggleWindow();
  EXPECT_EQ(desktop.notices, Trace{"Quenvar goes on. Start it once more to see its window."});
  upstream.bindError = EACCES;
  Startup();
  ASSERT_EQ(desktop.notices.size(), 2u);
  EXPECT_TRUE(desktop.notices[1].starts_with("Port 53 was refused. "));
}

}  // namespace
}  // namespace quenvar
