#include "platform/posix/bound_socket.h"

#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace quenvar {

namespace {

/// The port that the installed helper opens.
constexpr std::uint16_t kHelpersPort = 53;
/// A person may have to type a password.
constexpr timeval kHelpersTime = {120, 0};
constexpr const char* kPolkitsStarter = "/usr/bin/pkexec";
/// What pkexec ends with when the user has not agreed, or may not.
constexpr int kRefused = 126;

// What the helper has handed over and nobody has taken yet; -1 is none.
HelpersSockets waiting;

int PlainSocket(int type, std::uint16_t port) {
  const int opened = socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (opened == -1) return -1;
  // Connections of an earlier run that are still winding down do not hold the port; a listener does. A datagram socket
  // goes without: with it, a port that another program holds would go unnoticed.
  const int on = 1;
  if (type == SOCK_STREAM) setsockopt(opened, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_port = htons(port);
  if (bind(opened, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0) return opened;
  const int error = errno;
  close(opened);
  errno = error;
  return -1;
}

// Starts `command` with `input` as its standard input. -1 when that fails.
pid_t Start(std::vector<std::string> command, int input) {
  std::vector<char*> arguments;
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  pid_t started = -1;
  const int error = posix_spawn(&started, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? started : -1;
}

// Waits for two descriptors that are sent through `channel`; none when the other side ends without, or does nothing.
HelpersSockets Receive(int channel) {
  setsockopt(channel, SOL_SOCKET, SO_RCVTIMEO, &kHelpersTime, sizeof kHelpersTime);
  HelpersSockets received;
  char byte;
  iovec content = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof received)];
  msghdr message{};
  message.msg_iov = &content;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  ssize_t count;
  while ((count = recvmsg(channel, &message, MSG_CMSG_CLOEXEC)) == -1 && errno == EINTR) {
  }
  const cmsghdr* const item = count == 1 ? CMSG_FIRSTHDR(&message) : nullptr;
  if (item != nullptr && item->cmsg_type == SCM_RIGHTS && item->cmsg_len == CMSG_LEN(sizeof received))
    std::memcpy(&received, CMSG_DATA(item), sizeof received);
  return received;
}

// The exit status; -1 for a process that did not end by itself.
int WaitForEnd(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) == -1)
    if (errno != EINTR) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

int BoundSocket(int type, std::uint16_t port) {
  const int plain = PlainSocket(type, port);
  if (plain != -1 || errno != EACCES || port != kHelpersPort) return plain;
  int& wanted = type == SOCK_DGRAM ? waiting.udp : waiting.tcp;
  if (wanted == -1) {
    for (const int old : {waiting.udp, waiting.tcp})
      if (old != -1) close(old);
    waiting = SocketsFromHelper({kPolkitsStarter, QUENVAR_PORT_HELPER});
  }
  return std::exchange(wanted, -1);
}

HelpersSockets SocketsFromHelper(const std::vector<std::string>& command) {
  // Where the one who started this program has it ignored, the status would be lost.
  signal(SIGCHLD, SIG_DFL);
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return {};
  const pid_t started = Start(command, ends[1]);
  close(ends[1]);
  errno = 0;
  const HelpersSockets received = started == -1 ? HelpersSockets() : Receive(ends[0]);
  const bool late = received.udp == -1 && errno == EAGAIN;
  close(ends[0]);
  // What runs as root by now cannot be ended, and is not waited for: the end of the channel ends it.
  const bool endsSoon = started != -1 && (!late || kill(started, SIGKILL) == 0);
  const int status = endsSoon ? WaitForEnd(started) : -1;
  // Without the helper, or with one that is not what it should be, it is the right that is missing.
  if (received.udp == -1) errno = status > 0 && status < kRefused ? status : EACCES;
  return received;
}

}  // namespace quenvar
