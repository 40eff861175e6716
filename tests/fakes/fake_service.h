// The service without its surroundings: its state as it is before a start, against a fake outside world.
#pragma once

#include "base/program.h"
#include "engine/host/own_addresses.h"
#include "engine/log/event_log.h"
#include "engine/program/housekeeping.h"
#include "engine/program/main_window_view.h"
#include "engine/program/shutdown.h"
#include "engine/program/startup.h"
#include "engine/program/window_state.h"
#include "engine/relay/answer_rules.h"
#include "engine/relay/pending_table.h"
#include "engine/relay/query_path.h"
#include "settings/options.h"
#include "settings/server_list.h"
#include "settings/server_table_view.h"
#include "settings/statistics.h"
#include "tests/fakes/fake_platform.h"

namespace quenvar {

struct FakeServerTable : ServerTableView {
  void RefreshRows() override { ++refreshes; }
  void ShowAnswering(int row) override { answering.push_back(row); }

  std::vector<int> answering;
  int refreshes = 0;
};

struct FakeCorrection : CorrectionDialog {
  std::int16_t AskCorrection(const std::string& /*message*/, const std::string& /*title*/) override {
    if (whileOpen) whileOpen();
    return answer;
  }

  std::function<void()> whileOpen;
  std::int16_t answer = 0;
};

struct FakeMainWindow : MainWindowView {
  bool SetFontName(const std::string& name) override { return name != missingFont; }
  void ShowWindow() override { trace.push_back("show"); }
  void HideWindow() override { trace.push_back("hide"); }
  void SelectFirstTab() override {}
  void TabUpdate() override { trace.push_back("tab update"); }
  void UnloadOtherWindows() override { trace.push_back("unload others"); }

  std::string missingFont;
};

struct FakeTray : TrayView {
  void AddTrayIcon() override {}
  void RemoveTrayIcon() override { trace.push_back("remove icon"); }
};

/// While it lives, the service runs against it.
struct FakeService : FakePlatform {
  FakeService() {
    serverTable = &table;
    correctionDialog = &correction;
    mainWindow = &window;
    tray = &trayIcon;
    SetAppPath("/program/");
    SetEngineReady(kFalse);
    QuitRequested = QuitConfirmed = StartHidden = kFalse;
    SettingsRead = false;
    ExitStatus = 0;
    CurrentPage = SavedPage = kSystemPage;
    WindowHidden = WindowWasShown = false;
    ShowFailuresInLogOnly(false);
    HousekeepingTicks = 0;
    PendingCount = 0;
    UpstreamAnswered = false;
    Check2 = Check3 = 0;
    NoCache = kTrue;
    MatchQuestion = kFalse;
    ChooseAnswerRules();
    TOTALQ = ACACHE = ADNS = NOTANSWERED = 0;
    WTIME = 0;
    ServerAddress.fill("");
    ServerDescription.fill("");
    ServerEnabled.fill(kFalse);
    ServerWinning.fill(0);
    ServerResponded.fill(kFalse);
    TotalWinning = 0;
    ServerListChanged = kFalse;
    ResetOwnAddresses();
    ClearLog();
  }

  void SetServer(std::size_t slot, const std::string& address, const std::string& description = "",
                 std::int16_t winning = 0) {
    ServerAddress[slot] = address;
    ServerDescription[slot] = description;
    ServerEnabled[slot] = kTrue;
    ServerWinning[slot] = winning;
  }

  FakeServerTable table;
  FakeCorrection correction;
  FakeMainWindow window;
  FakeTray trayIcon;

  /// The log without the time of day, which always is 12:00:00.
  std::vector<std::string> LogLines() {
    std::vector<std::string> lines;
    for (std::string_view rest = LogText(); !rest.empty();) {
      const std::size_t end = rest.find("\r\n");
      lines.emplace_back(rest.substr(9, end - 9));
      rest.remove_prefix(end + 2);
    }
    return lines;
  }
};

}  // namespace quenvar
