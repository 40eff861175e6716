// Makes the outside world and the windows, hands control to Startup (engine/program/startup.h), and runs the message
// loop.

#include <sys/resource.h>

#include <QApplication>
#include <QDir>
#include <QHostInfo>
#include <QLocale>
#include <QStandardPaths>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/numbers.h"
#include "engine/program/housekeeping.h"
#include "engine/program/shutdown.h"
#include "engine/program/startup.h"
#include "engine/program/window_state.h"
#include "engine/relay/asked_ports.h"
#include "platform/platform.h"
#include "platform/posix/disk_files.h"
#include "platform/posix/host_network.h"
#include "platform/posix/profile_file.h"
#include "platform/posix/settings_template.h"
#include "platform/posix/system_clock.h"
#include "platform/qt/end_requests.h"
#include "platform/qt/http_client.h"
#include "platform/qt/qt_desktop.h"
#include "platform/qt/qt_event_loop.h"
#include "platform/qt/qt_message_boxes.h"
#include "platform/qt/qt_process.h"
#include "platform/qt/qt_timer.h"
#include "platform/qt/show_requests.h"
#include "platform/qt/socket_udp_port.h"
#include "platform/qt/tcp_clients.h"
#include "platform/qt/tcp_listener.h"
#include "platform/qt/wait_notice.h"
#include "platform/sqlite/sqlite_record_store.h"
#include "settings/server_list.h"
#include "settings/settings_file.h"
#include "settings/statistics.h"
#include "ui/correction_dialog.h"
#include "ui/main_window.h"
#include "ui/parts/own_look.h"
#include "ui/parts/pictures.h"
#include "ui/tray_icon.h"

using namespace quenvar;

namespace {

// Every TCP client holds two descriptors, and the usual soft limit of 1024 is soon reached.
void RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// A relative one counts for nothing, as the standard of these names says (XDG Base Directory).
void DropRelativeDirectories() {
  for (const char* const name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
    if (!QDir::isAbsolutePath(qEnvironmentVariable(name))) qunsetenv(name);
}

std::string UserPath(QStandardPaths::StandardLocation location, const char* name) {
  return QStandardPaths::writableLocation(location).toStdString() + "/" + name;
}

std::string SettingsPath() { return UserPath(QStandardPaths::GenericConfigLocation, "QUENVAR.INI"); }

// Before anything reads the settings.
void BeginSettings() {
  const QByteArray directories = qgetenv("XDG_CONFIG_DIRS");
  CopyFirstTemplate(directories.isEmpty() ? "/etc/xdg" : directories.toStdString(), SettingsPath(),
                    [](const std::string& line) { std::fprintf(stderr, "quenvar: %s\n", line.c_str()); });
}

// The character that the user's region writes between whole and fraction.
char RegionalSeparator() {
  const std::string separator = QLocale::system().decimalPoint().toStdString();
  return separator.size() == 1 ? separator[0] : '.';
}

// Settings that were never read would blank the file.
void SaveSession() {
  if (SettingsRead) SaveAllSettings();
}

// The windowing system layer of Qt takes a token from the environment, as if it were that of the program's own start.
void ShowAgain(const std::string& token) {
  if (!token.empty()) qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(token));
  ShowMainWindow();
}

void EndSession() { UnloadMainWindow(UnloadMode::SessionEnd); }

bool savesAtExit = false;

// The libraries below the windows call exit() when the X11 display or the session manager is gone.
void OnExit() {
  if (!savesAtExit) return;
  SaveSession();
  std::_Exit(EXIT_FAILURE);
}

// The first call only makes the toolkit's name look-ups: what is made before is taken down after OnExit, and to take
// these down may take ten seconds.
void SaveAtExit() {
  QHostInfo::abortHostLookup(-1);
  savesAtExit = std::atexit(OnExit) == 0;
}

// Everything outside of the program, and the order in which it is made and taken down.
struct Outside {
  Outside();
  ~Outside() { savesAtExit = false; }
  void Release();

  SystemClock clock;
  QtEventLoop events;
  DiskFiles files{UserPath(QStandardPaths::GenericDataLocation, "quenvar")};
  QtMessageBoxes boxes;
  HostNetwork network;
  QtHttpClient http;
  QtDesktop desktop;
  ProfileFile profile{SettingsPath()};
  QtWaitNotice waitNotice;
  QTimer flushTimer;
  SqliteRecordStore records{&waitNotice, [this] { flushTimer.start(); }};
  QtTimer timer1{&OnTimer1};
  SocketUdpPort downstream{events};  // before the others: an answer to a client leaves before its query goes on
  SocketUdpPort upstream{events};
  SocketUdpPorts ports{events};
  QtTimer portTimer{&OnPortTimer};
  SocketTcpListener listener;
  SocketTcpClients clients;
  EndRequests endRequests{&SaveSession, &EndSession};
  ShowRequests showRequests{UserPath(QStandardPaths::RuntimeLocation, "quenvar.socket"), &ShowAgain};
  QtProcess process{{QUENVAR_VERSION_MAJOR, QUENVAR_VERSION_MINOR, QUENVAR_VERSION_REVISION},
                    QString::fromStdString(UserPath(QStandardPaths::GenericConfigLocation, "quenvar.lock")),
                    showRequests,
                    boxes,
                    [this] { Release(); }};
};

Outside::Outside() {
  flushTimer.setSingleShot(true);
  flushTimer.setInterval(SqliteRecordStore::kGroupTime);
  QObject::connect(&flushTimer, &QTimer::timeout, [this] { records.Flush(); });
  SaveAtExit();
  platform = {.clock = &clock,
              .events = &events,
              .desktop = &desktop,
              .files = &files,
              .http = &http,
              .boxes = &boxes,
              .network = &network,
              .process = &process,
              .profile = &profile,
              .records = &records,
              .IPDaemon = &listener,
              .IPPort = &clients,
              .Timer1 = &timer1,
              .UDPPort1 = &upstream,
              .UDPPort2 = &downstream,
              .ports = &ports,
              .portTimer = &portTimer};
}

// Before the report of a run-time error: nothing is served, saved or asked for any more.
void Outside::Release() {
  savesAtExit = false;
  timer1.Stop();
  upstream.Deactivate();
  downstream.Deactivate();
  ports.CloseAll();
  listener.CloseAll();
  clients.CloseAll();
  http.Abort();
  records.Close();
  tray->RemoveTrayIcon();
  endRequests.Release();
  showRequests.Release();
}

// Returns what the process ends with.
int Run() {
  OwnLook look;
  Outside outside;
  Quenvar_Mainform window(look);
  Quenvar_Correct correction(&window);
  outside.boxes.SetMainWindow(&window);
  TrayIcon trayIcon(QApplication::windowIcon());
  tray = &trayIcon;
  ConnectWindow(window, correction);
  Startup();
  return outside.events.Run();
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // writing to a session manager that is gone
  RaiseDescriptorLimit();
  DropRelativeDirectories();
  QApplication::setStyle("Windows");
  QApplication application(argc, argv);
  QApplication::setApplicationName("quenvar");
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setWindowIcon(ProgramIcon());
  DecimalSeparator = RegionalSeparator();
  BeginSettings();
  const int status = Run();
#ifdef __SANITIZE_ADDRESS__
  return status;  // leaks are looked for at the very end
#else
  // The toolkit's own end would wait for a name look-up.
  std::quick_exit(status);
#endif
}
