#include "packaging/resolver/command.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace quenvar::resolver {

namespace {

constexpr std::size_t kMostOutput = 64 * 1024;
constexpr std::chrono::seconds kLongest{60};
constexpr int kFailed = 100;

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

[[noreturn]] void Become(const std::vector<std::string>& command, std::vector<std::string> variables, int output) {
  variables.emplace_back("PATH=/usr/sbin:/usr/bin:/sbin:/bin");
  variables.emplace_back("LC_ALL=C.UTF-8");
  const int nothing = open("/dev/null", O_RDWR);
  dup2(nothing, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(nothing, STDERR_FILENO);
  execve(command[0].c_str(), Pointers(command).data(), Pointers(variables).data());
  _exit(127);
}

// Reads until the end or until `kLongest` is over: true in time.
bool ReadAll(int channel, std::string& output) {
  const auto end = std::chrono::steady_clock::now() + kLongest;
  char buffer[4096];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    pollfd event = {channel, POLLIN, 0};
    if (left.count() <= 0 || poll(&event, 1, static_cast<int>(left.count())) == 0) return false;
    const ssize_t count = read(channel, buffer, sizeof buffer);
    if (count == -1 && errno == EINTR) continue;
    if (count <= 0) return true;
    if (output.size() < kMostOutput) output.append(buffer, static_cast<std::size_t>(count));
  }
}

int WaitFor(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) == -1)
    if (errno != EINTR) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void GiveUpRights(const passwd& user) {
  if (initgroups(user.pw_name, user.pw_gid) != 0 || setgid(user.pw_gid) != 0 || setuid(user.pw_uid) != 0 ||
      (user.pw_uid != 0 && setuid(0) == 0))
    throw Failure("The rights of " + std::string(user.pw_name) + " could not be taken.");
  clearenv();
  setenv("HOME", user.pw_dir, 1);
  umask(022);
  if (chdir("/") != 0) throw Failure("The root directory cannot be entered.");
}

}  // namespace

Outcome Run(const std::vector<std::string>& command, const std::vector<std::string>& variables) {
  int channel[2];
  if (access(command[0].c_str(), X_OK) != 0 || pipe2(channel, O_CLOEXEC) != 0) return {};
  const pid_t child = fork();
  if (child == 0) Become(command, variables, channel[1]);
  close(channel[1]);
  Outcome outcome;
  if (child != -1 && !ReadAll(channel[0], outcome.output)) kill(child, SIGKILL);
  close(channel[0]);
  if (child != -1) outcome.status = WaitFor(child);
  return outcome;
}

int AsUser(uid_t user, const std::function<int()>& work) {
  const passwd* const entry = getpwuid(user);
  if (entry == nullptr) throw Failure("There is no user with the number " + std::to_string(user) + ".");
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == -1) throw Failure("No further process can be started.");
  if (child != 0) return WaitFor(child);
  int result = kFailed;
  try {
    GiveUpRights(*entry);
    result = work();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "quenvar-resolver: %s\n", failure.what());
  }
  std::fflush(stdout);
  _exit(result);
}

void Say(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

}  // namespace quenvar::resolver
