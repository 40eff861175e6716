#include "packaging/resolver/command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace quenvar {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostOutput = 65536;

[[noreturn]] void Become(const std::vector<std::string>& command, const Account* account, int output) {
  // In a session of its own: a key pressed in the terminal does not end it half-way, and what runs as the user cannot
  // type into the terminal of root.
  setsid();
  if (account != nullptr && !BecomeForGood(*account)) _exit(127);
  if (account == nullptr) SetFixedEnvironment();
  const int nothing = open("/dev/null", O_RDWR);
  dup2(nothing, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);
  for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGHUP}) std::signal(signal, SIG_DFL);
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execv(words[0], words.data());
  _exit(127);
}

int TimeLeft(Clock::time_point end) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000));
}

// False when the time was over first.
bool ReadToEnd(int input, Clock::time_point end, std::string& text) {
  char buffer[4096];
  while (Clock::now() < end) {
    pollfd waiting{input, POLLIN, 0};
    if (poll(&waiting, 1, TimeLeft(end)) <= 0) continue;
    const ssize_t count = read(input, buffer, sizeof buffer);
    if (count == 0) return true;
    if (count > 0 && text.size() < kMostOutput) text.append(buffer, static_cast<std::size_t>(count));
  }
  return false;
}

int WaitForEnd(pid_t child, Clock::time_point end) {
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (Clock::now() >= end) kill(-child, SIGKILL);
    usleep(2000);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

CommandResult Run(const std::vector<std::string>& command, const Account* account, std::chrono::milliseconds limit) {
  const Clock::time_point end = Clock::now() + limit;
  CommandResult result;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return result;
  const pid_t child = fork();
  if (child == 0) Become(command, account, ends[1]);
  close(ends[1]);
  if (child > 0) {
    ReadToEnd(ends[0], end, result.output);
    result.status = WaitForEnd(child, end);
  }
  close(ends[0]);
  return result;
}

std::string WordFrom(const std::vector<std::string>& command, const Account* account) {
  const std::string output = Run(command, account).output;
  return output.substr(0, output.find_first_of(" \t\n"));
}

}  // namespace quenvar
