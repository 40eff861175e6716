#include "packaging/resolver/account.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdlib>

namespace quenvar {

namespace {

constexpr int kTaskSteps = 600;
constexpr useconds_t kStepMicroseconds = 50'000;

// The child is killed when its time is over: a home on a network file system may not answer.
int WaitForTask(pid_t child) {
  for (int step = 0; step < kTaskSteps; ++step) {
    int status = 0;
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended == child) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (ended < 0) return -1;
    usleep(kStepMicroseconds);
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return -1;
}

bool IsOwnDirectory(const std::string& path, uid_t uid) {
  struct stat state {};
  return stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode) && state.st_uid == uid;
}

}  // namespace

std::optional<Account> FindAccount(const std::string& uidText) {
  uid_t uid = 0;
  const char* const end = uidText.data() + uidText.size();
  const auto [stop, error] = std::from_chars(uidText.data(), end, uid);
  if (error != std::errc() || stop != end || uid == 0) return std::nullopt;
  const passwd* const entry = getpwuid(uid);
  if (entry == nullptr || entry->pw_uid != uid || entry->pw_dir[0] != '/') return std::nullopt;
  Account account{uid, entry->pw_gid, entry->pw_name, entry->pw_dir};
  if (!IsOwnDirectory(account.home, uid)) return std::nullopt;
  return account;
}

std::string RuntimeDirectory(const Account& account) {
  const std::string path = "/run/user/" + std::to_string(account.uid);
  return IsOwnDirectory(path, account.uid) ? path : "";
}

void SetFixedEnvironment() {
  clearenv();
  setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
  setenv("LC_ALL", "C", 1);
}

bool BecomeForGood(const Account& account) {
  const std::string runtime = RuntimeDirectory(account);
  if (initgroups(account.name.c_str(), account.gid) != 0) return false;
  if (setresgid(account.gid, account.gid, account.gid) != 0) return false;
  if (setresuid(account.uid, account.uid, account.uid) != 0 || setuid(0) == 0) return false;
  SetFixedEnvironment();
  setenv("HOME", account.home.c_str(), 1);
  setenv("USER", account.name.c_str(), 1);
  if (!runtime.empty()) setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
  umask(077);
  return chdir("/") == 0;
}

int RunAs(const Account& account, const std::function<int()>& task) {
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child > 0) return WaitForTask(child);
  setsid();  // see Become in command.cpp
  if (!BecomeForGood(account)) _exit(255);
  _exit(task());
}

}  // namespace quenvar
