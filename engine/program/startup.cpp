#include "engine/program/startup.h"

#include <cerrno>

#include "base/program.h"
#include "cache/answer_cache.h"
#include "engine/host/own_addresses.h"
#include "engine/log/event_log.h"
#include "engine/program/housekeeping.h"
#include "engine/program/main_window_view.h"
#include "engine/program/shutdown.h"
#include "engine/program/window_state.h"
#include "engine/relay/answer_rules.h"
#include "engine/relay/pending_table.h"
#include "engine/relay/query_path.h"
#include "engine/relay/stored_entry.h"
#include "platform/desktop.h"
#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/message_box.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/tcp.h"
#include "platform/timer.h"
#include "platform/udp_port.h"
#include "settings/options.h"
#include "settings/server_import.h"
#include "settings/server_list.h"
#include "settings/server_table_view.h"
#include "settings/settings_file.h"
#include "tcp/tcp_relay.h"

namespace quenvar {

Boolean16 StartHidden = kFalse;
bool SettingsRead = false;

namespace {

constexpr std::uint16_t kAnyPort = 0;
/// Unlike that of a run-time error: starting again would fail again.
constexpr int kFailedStart = 2;

std::string FindAppPath() {
  std::string directory = platform.files->ProgramDirectory();
  if (!directory.ends_with(platform.files->Separator())) directory += platform.files->Separator();
  return directory;
}

bool SetMainWindowFont() {
  mainWindow->SetFontName("Arial");
  if (mainWindow->SetFontName("Tahoma")) return true;
  const std::string text = "Initialisation error, did you restart your system after you installed Quenvar?";
  platform.process->Report(text);
  platform.boxes->Show(text, "Quenvar", BoxIcon::Critical, BoxButtons::Ok);
  return false;
}

std::string VersionText() {
  const Version version = platform.process->ProgramVersion();
  return std::to_string(version.major) + "." + std::to_string(version.minor) + "." + std::to_string(version.revision);
}

int OpenUdpPort(UdpPort& port, std::uint16_t localPort, UdpPort::DataArrived handler) {
  port.Deactivate();
  port.SetLocalPort(localPort);
  port.SetDataArrived(std::move(handler));
  port.SetAcceptData(true);
  return port.Activate();
}

int OpenUdpPorts() {
  if (const int error = OpenUdpPort(*platform.UDPPort1, kAnyPort, OnServerDatagram); error != 0) return error;
  return OpenUdpPort(*platform.UDPPort2, kDnsPort, OnClientDatagram);
}

void LogNameServers() {
  WriteLog("INIT: Add DNS server: ");
  for (int row = 0; row < kServerRows; ++row) {
    if (!IsServerUsable(row)) continue;
    const auto slot = static_cast<std::size_t>(row);
    const std::string prefix = ServerEnabled[slot] != kFalse ? "     * " : "       ";
    WriteLog(prefix + ServerAddress[slot] + " / " + ServerDescription[slot]);
  }
}

void ReportStartError(int error) {
  if (error == kErrorAddressInUse) {
    const std::string text =
        "Your localport 53 (DNS) is already in use! Make sure that no other application is using this port.";
    platform.process->Report(text);
    platform.boxes->Show(text, "Error", BoxIcon::Exclamation, BoxButtons::Ok);
    return;
  }
  WriteFailureToLog("Initialisation error:" + std::to_string(error) + ", please check your TCP/IP setup.");
  if (error == EACCES) {
    const std::string text =
        "Port 53 was refused. An installed Quenvar gets it through polkit: in a session at this machine, or with an "
        "administrator's password. Start one that was built with \"sudo ./run\", or open low ports to all programs of "
        "this machine with \"sudo sysctl net.ipv4.ip_unprivileged_port_start=53\".";
    platform.process->Report(text);
    // Standard error of a program that was started from the menu is seen by nobody.
    platform.desktop->Notify(text);
  }
}

// While the box is open nothing is served, so that the counters stay what the settings file says.
void StopService() {
  platform.UDPPort1->Deactivate();
  platform.UDPPort2->Deactivate();
  platform.IPDaemon->CloseAll();
  PendingCount = 0;
  ReadSettingsOnce();
}

void FailStart(int error) {
  ExitStatus = kFailedStart;
  StopService();
  ReportStartError(error);
  QuitRequested = kTrue;
  UnloadMainWindow(UnloadMode::Code);
}

int StartService() {
  SetProgramVersion(VersionText());
  ResetOwnAddresses();
  if (GetOwnAddresses() == -1) WriteFailureToLog(kNoNetworkLine);
  if (const int error = OpenUdpPorts(); error != 0) return error;
  return InitialiseEngine();
}

void BuildWindow() {
  serverTable->MakeTabelle();
  MakeListView();
  tray->AddTrayIcon();
  mainWindow->SelectFirstTab();
  mainWindow->TabUpdate();
}

void ShowOrHideWindow() {
  StartHidden = Check2 != 0 ? kTrue : kFalse;
  if (StartHidden != kFalse)
    StayHiddenAtStart();
  else
    ShowWindowAtStart();
}

void StartTimer1() {
  // A quit that was asked for during the start is carried out by the first tick.
  platform.Timer1->SetIntervalMilliseconds(QuitRequested != kFalse ? 1 : kHousekeepingMilliseconds);
  platform.Timer1->Restart();
}

}  // namespace

void Startup() {
  SetAppPath(FindAppPath());
  ImportServerFile();
  if (!SetMainWindowFont()) return platform.events->Quit(kFailedStart);
  if (platform.process->PreviousInstance()) return platform.events->Quit(0);
  QuitRequested = kFalse;
  if (const int error = StartService(); error != 0) return FailStart(error);
  BuildWindow();
  ShowOrHideWindow();
  StartTimer1();
}

int InitialiseEngine() {
  QuitConfirmed = kFalse;
  ServerWinning.fill(0);
  ServerResponded.fill(kFalse);
  if (const int error = InitTcpRelay(); error != 0) return error;
  OpenCache(ReadMatchQuestion() ? FindUselessRecords : RecordStore::FindKeys());
  ReadSettingsOnce();
  ChooseAnswerRules();
  LogNameServers();
  platform.process->Randomize();
  SetHelpFile(platform.files->InstalledFile("Quenvar.hlp"));
  ServerListChanged = kTrue;
  SetEngineReady(kTrue);
  return 0;
}

void ReadSettingsOnce() {
  if (SettingsRead) return;
  SettingsRead = true;
  LoadNameServers();
  LoadStatistics();
  LoadOptions();
}

}  // namespace quenvar
