#include "program.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace quenvar::lab {
namespace fs = std::filesystem;

namespace {

/// The line of the process's UDP table for port 53; empty when there is none.
std::string UdpTableLine(pid_t process) {
  std::ifstream table("/proc/" + std::to_string(process) + "/net/udp");
  for (std::string line; std::getline(table, line);)
    if (line.find(":0035 ") != std::string::npos) return line;
  return "";
}

[[noreturn]] void Become(const Home& home, const StartOptions& options, const fs::path& standardError) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (!options.mayBindPort53) prctl(PR_CAPBSET_DROP, CAP_NET_BIND_SERVICE);
  const int file = open(standardError.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(file, STDERR_FILENO);
  for (const auto& [name, value] : home.Environment()) setenv(name.c_str(), value.c_str(), 1);
  setenv("QT_QPA_PLATFORM", options.display.empty() ? "offscreen" : "xcb", 1);
  setenv("DISPLAY", options.display.c_str(), 1);
  const fs::path program = home.ProgramFile("quenvar");
  execl(program.c_str(), program.c_str(), nullptr);
  _exit(127);
}

}  // namespace

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void WriteFile(const fs::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

Home::Home() {
  static int homes = 0;
  root_ = fs::path(kDirectory) / ("home" + std::to_string(++homes));
  for (const char* name : {"program", "config", "data", "runtime"}) fs::create_directories(root_ / name);
  fs::permissions(root_ / "runtime", fs::perms::owner_all);
  fs::create_hard_link(fs::path(kDirectory) / "quenvar", ProgramFile("quenvar"));
}

std::map<std::string, std::string> Home::Environment() const {
  return {{"HOME", root_},
          {"XDG_CONFIG_HOME", root_ / "config"},
          {"XDG_DATA_HOME", root_ / "data"},
          {"XDG_RUNTIME_DIR", root_ / "runtime"},
          {"DBUS_SESSION_BUS_ADDRESS", "disabled:"},
          {"LC_ALL", "C.UTF-8"}};
}

std::string Home::Setting(const std::string& key) const {
  std::istringstream lines(ReadFile(SettingsFile()));
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
  return "(missing)";
}

std::string SettingsFor(const std::vector<int>& servers) {
  std::string text = "[OPTIONS]\nNOCACHE=Yes\n[NAMESERVER]\n";
  for (std::size_t row = 0; row < servers.size(); ++row) {
    const std::string key = "DNS_" + std::to_string(row);
    text += key + "_NAME=" + ServerAt(servers[row]) + "\n" + key + "_ENABLED=Yes\n";
  }
  return text;
}

Program::Program(const Home& home, const StartOptions& options) {
  static int programs = 0;
  standardError_ = fs::path(kDirectory) / ("stderr" + std::to_string(++programs));
  process_ = fork();
  if (process_ == 0) Become(home, options, standardError_);
}

Program::~Program() {
  if (!Runs()) return;
  Signal(SIGKILL);
  Wait();
}

bool Program::Serves() const {
  return Eventually([this] { return !UdpTableLine(process_).empty(); });
}

bool Program::Idle() const {
  const std::string line = UdpTableLine(process_);
  const bool nothingWaits = line.find(":00000000 00:", line.find(" 07 ")) != std::string::npos;
  const std::string stat = ReadFile("/proc/" + std::to_string(process_) + "/stat");
  return nothingWaits && stat.find(") S ") != std::string::npos;
}

int Program::DroppedDatagrams() const {
  std::istringstream columns(UdpTableLine(process_));
  std::string last;
  while (columns >> last) continue;
  return std::atoi(last.c_str());
}

void Program::Signal(int signal) const { kill(process_, signal); }

bool Program::Runs() {
  if (process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_) process_ = 0;
  return process_ > 0;
}

int Program::Wait(std::chrono::milliseconds limit) {
  if (!Eventually([this] { return !Runs(); }, limit)) {
    Signal(SIGKILL);
    Eventually([this] { return !Runs(); });
  }
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
}

int Program::Terminate() {
  Signal(SIGTERM);
  return Wait();
}

}  // namespace quenvar::lab
