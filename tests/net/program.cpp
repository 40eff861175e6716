#include "program.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

namespace quenvar::lab {
namespace fs = std::filesystem;

namespace {

/// The program raises its own.
constexpr rlim_t kSoftDescriptorLimit = 64;

void SetEnvironment(const Home& home, const StartOptions& options) {
  std::map<std::string, std::string> variables = options.environment;
  variables.merge(std::map<std::string, std::string>{
      {"HOME", home.root},
      {"XDG_CONFIG_DIRS", home.root / "templates"},
      {"XDG_CONFIG_HOME", home.root / "config"},
      {"XDG_DATA_HOME", home.root / "data"},
      {"XDG_RUNTIME_DIR", home.root / "runtime"},
      {"DBUS_SESSION_BUS_ADDRESS", "disabled:"},
      {"LC_ALL", "C.UTF-8"},
      {"QT_QPA_PLATFORM", options.display.empty() ? "offscreen" : "xcb"},
      {"DISPLAY", options.display},
  });
  for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
}

[[noreturn]] void Become(const Home& home, const StartOptions& options, const fs::path& standardError) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Enter(options.place);
  if (!options.mayBindPort53) prctl(PR_CAPBSET_DROP, CAP_NET_BIND_SERVICE);
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  descriptors.rlim_cur = kSoftDescriptorLimit;
  if (options.descriptorLimit != 0) descriptors.rlim_max = options.descriptorLimit;
  setrlimit(RLIMIT_NOFILE, &descriptors);
  dup2(open(standardError.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
  SetEnvironment(home, options);
  const fs::path program = home.ProgramFile("quenvar");
  execl(program.c_str(), program.c_str(), nullptr);
  _exit(127);
}

}  // namespace

Home::Home() {
  static int homes = 0;
  root = kDirectory / ("home" + std::to_string(++homes));
  for (const char* name : {"program", "config", "data", "runtime"}) fs::create_directories(root / name);
  fs::permissions(root / "runtime", fs::perms::owner_all);
  fs::create_hard_link(kDirectory / "quenvar", ProgramFile("quenvar"));
}

std::string Home::Setting(const std::string& key) const {
  std::istringstream lines(ReadFile(SettingsFile()));
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
  return "(missing)";
}

std::string SettingsFor(const std::vector<int>& servers, const std::string& noCache, const std::string& options) {
  std::string text = "[OPTIONS]\nNOCACHE=" + noCache + "\n" + options + "[NAMESERVER]\n";
  for (std::size_t row = 0; row < servers.size(); ++row) {
    const std::string key = "DNS_" + std::to_string(row);
    text += key + "_NAME=" + ServerAt(servers[row]) + "\n" + key + "_ENABLED=Yes\n";
  }
  return text;
}

std::map<std::string, std::string> FastClock(int speed) {
  return {{"LD_PRELOAD", FAST_CLOCK},
          {"TEST_CLOCK_BEGIN", "1000"},
          {"TEST_CLOCK_SPEED", std::to_string(speed)},
          {"ASAN_OPTIONS", "verify_asan_link_order=0:abort_on_error=1"}};
}

Program::Program(const Home& home, const StartOptions& options) {
  static int programs = 0;
  standardError_ = kDirectory / ("stderr" + std::to_string(++programs));
  process_ = fork();
  if (process_ == 0) Become(home, options, standardError_);
  const fs::path table = "/proc/" + std::to_string(process_) + "/net/tcp";
  const auto listens = [&] { return ReadFile(table).find(" 00000000:0035 00000000:0000 ") != std::string::npos; };
  EXPECT_TRUE(!options.serves || Eventually(listens)) << StandardError();
}

Program::~Program() {
  const bool ended = !Runs();
  if (!ended) Terminate();
  EXPECT_TRUE(!ended || waitedFor_ || status_ == 0) << "it has ended by itself, with wait status " << status_;
}

void Program::Signal(int signal) const { kill(process_, signal); }

double Program::CpuSeconds() const {
  clockid_t clock;
  timespec time{};
  if (clock_getcpuclockid(process_, &clock) == 0) clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

std::size_t Program::OpenDescriptors() const {
  const fs::directory_iterator descriptors("/proc/" + std::to_string(process_) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

bool Program::Runs() {
  if (process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_) process_ = 0;
  return process_ > 0;
}

int Program::Wait() {
  waitedFor_ = true;
  const auto ended = [this] { return !Runs(); };
  if (!Eventually(ended)) Signal(SIGKILL);
  Eventually(ended);
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
}

void Program::Terminate() {
  Signal(SIGTERM);
  EXPECT_EQ(Wait(), 0) << StandardError();
}

// The server picks a free display number itself and writes it when it is ready. Without "-noreset" it starts afresh
// whenever its last client leaves: a look at an empty screen would cut off a program that is just connecting.
Screen::Screen()
    : server_(popen("echo $$; exec setpriv --pdeathsig TERM Xvfb -displayfd 1 -noreset -screen 0 1024x768x24 "
                    "-nolisten tcp 2>/dev/null",
                    "re")) {
  if (std::fscanf(server_, "%d %d", &process_, &display_) != 2) throw std::runtime_error("Xvfb does not start");
}

Screen::~Screen() {
  End();
  pclose(server_);
}

// It is asked to end, not killed, so that it removes its socket and lock, which all programs of the machine share.
void Screen::End() const { kill(process_, SIGTERM); }

std::string Screen::Xdotool(const std::string& title, const std::string& command) const {
  return Output("DISPLAY=" + Display() + " xdotool search --onlyvisible --name '^" + title + "$' " + command);
}

int Screen::Count(const std::string& title) const {
  const std::string windows = Xdotool(title, "");
  return static_cast<int>(std::count(windows.begin(), windows.end(), '\n'));
}

bool Screen::Shows(const std::string& title) const {
  return Eventually([&] { return Count(title) > 0; });
}

void Screen::PressEnter(const std::string& title) const { Xdotool(title, "windowfocus --sync key Return"); }

std::string LabTest::Exchange(const Client& client, const std::string& query, const std::string& answer) const {
  client.Ask(query);
  auto seen = servers_.Next();
  while (seen && seen->bytes.substr(2) != query.substr(2)) seen = servers_.Next();
  if (!seen) return "(not forwarded)";
  servers_.Answer(*seen, seen->bytes.substr(0, 2) + answer.substr(2));
  return client.Answer();
}

std::string LabTest::Exchange(const std::string& query, const std::string& answer) const {
  return Exchange(client_, query, answer);
}

bool LabTest::RoundTrip() {
  static int turn = 0;
  ++turn;
  const std::string query = Query(turn, "round-trip-" + std::to_string(turn) + ".test");
  return Exchange(query, AnswerTo(query)) == AnswerTo(query);
}

}  // namespace quenvar::lab
