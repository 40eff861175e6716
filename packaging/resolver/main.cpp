// Points this machine's own look-ups at Quenvar, and back.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <vector>

#include "packaging/resolver/on_and_off.h"
#include "packaging/resolver/say.h"
#include "platform/platform.h"
#include "platform/posix/host_network.h"

using namespace quenvar;

namespace {

constexpr int kWrongWords = 2;
constexpr int kLockSteps = 100;

bool IsRoot() { return getuid() == 0 && geteuid() == 0; }

// Files that are opened later must not take the numbers of the standard ones.
void OpenStandardFiles() {
  while (true) {
    const int file = open("/dev/null", O_RDWR);
    if (file < 0 || file > STDERR_FILENO) {
      if (file >= 0) close(file);
      return;
    }
  }
}

// Asks for the right by the means of the desktop where there is one, else in the terminal.
int StartAsRoot(char** arguments) {
  std::error_code error;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", error);
  const bool hasDesktop = std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
  std::vector<const char*> helpers{"/usr/bin/sudo", "/usr/bin/pkexec"};
  if (hasDesktop) helpers = {"/usr/bin/pkexec", "/usr/bin/sudo"};
  for (const char* const helper : helpers) {
    std::vector<char*> words{const_cast<char*>(helper), const_cast<char*>(program.c_str())};
    for (char** word = arguments + 1; *word != nullptr; ++word) words.push_back(*word);
    words.push_back(nullptr);
    execv(helper, words.data());
  }
  Complain("this has to be done as root, and neither pkexec nor sudo is there.");
  return 1;
}

// Who has asked sudo or pkexec for the right. Only these can set the two variables of a process that is root's.
std::optional<Account> CallersAccount() {
  for (const char* const name : {"PKEXEC_UID", "SUDO_UID"})
    if (const char* const uid = std::getenv(name)) return FindAccount(uid);
  return std::nullopt;
}

// One at a time; the lock is held until the process ends. A child of one that was killed ends a little later.
bool IsAlone() {
  const int file = open("/run/quenvar-resolver.lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  for (int step = 0; file >= 0 && step < kLockSteps; ++step) {
    if (flock(file, LOCK_EX | LOCK_NB) == 0) return true;
    usleep(100'000);
  }
  return false;
}

int RunAsRoot(const Wishes& wishes) {
  const std::optional<Account> account = CallersAccount();
  SetFixedEnvironment();
  umask(022);
  if (!IsAlone()) {
    Complain("another quenvar-resolver is at work.");
    return 1;
  }
  NoteInterruptions();
  if (wishes.verb == "off") return Off(wishes);
  if (account) return On(wishes, *account);
  Complain("start this as the user who is to run Quenvar; it asks for the right itself. Quenvar never runs as root.");
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardFiles();
  std::signal(SIGPIPE, SIG_IGN);
  const auto wishes = ReadWords(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  if (!wishes) {
    Complain(kUsage);
    return kWrongWords;
  }
  HostNetwork network;
  platform.network = &network;
  if (wishes->verb == "status") return Status(*wishes);
  return IsRoot() ? RunAsRoot(*wishes) : StartAsRoot(argv);
}
