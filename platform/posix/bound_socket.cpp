#include "platform/posix/bound_socket.h"

#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quenvar {

namespace {

/// The port that the installed helper opens.
constexpr std::uint16_t kHelpersPort = 53;
constexpr timeval kHelpersTime = {5, 0};

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

// Starts `helper` with `input` as its standard input. -1 when that fails.
pid_t Start(const char* helper, int type, int input) {
  char udp[] = "udp", tcp[] = "tcp";
  char* const arguments[] = {const_cast<char*>(helper), type == SOCK_DGRAM ? udp : tcp, nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  pid_t started = -1;
  const int error = posix_spawn(&started, helper, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? started : -1;
}

// Waits for a descriptor that is sent through `channel`; -1 when the other side ends without, or does nothing.
int ReceiveDescriptor(int channel) {
  setsockopt(channel, SOL_SOCKET, SO_RCVTIMEO, &kHelpersTime, sizeof kHelpersTime);
  char byte;
  iovec content = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
  msghdr message{};
  message.msg_iov = &content;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  ssize_t count;
  while ((count = recvmsg(channel, &message, MSG_CMSG_CLOEXEC)) == -1 && errno == EINTR) {
  }
  const cmsghdr* const item = count == 1 ? CMSG_FIRSTHDR(&message) : nullptr;
  if (item == nullptr || item->cmsg_type != SCM_RIGHTS) return -1;
  int received;
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
  return plain == -1 && errno == EACCES && port == kHelpersPort ? SocketFromHelper(QUENVAR_PORT_HELPER, type) : plain;
}

int SocketFromHelper(const char* helper, int type) {
  // Where the one who started this program has it ignored, the status would be lost.
  signal(SIGCHLD, SIG_DFL);
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
  const pid_t started = Start(helper, type, ends[1]);
  close(ends[1]);
  const int received = started == -1 ? -1 : ReceiveDescriptor(ends[0]);
  close(ends[0]);
  if (started != -1 && received == -1 && errno == EAGAIN) kill(started, SIGKILL);
  const int status = started == -1 ? -1 : WaitForEnd(started);
  // Without the helper, or with one that is not what it should be, it is the right that is missing.
  if (received == -1) errno = status > 0 ? status : EACCES;
  return received;
}

}  // namespace quenvar
