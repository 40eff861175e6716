/* Opens the DNS port, for which an ordinary program lacks the right, and hands the socket to the program that started
 * this one, which holds the other end of its standard input; to nobody else.
 *
 *   port-helper udp|tcp      exit status: 0, or the errno of what failed
 */
#define _GNU_SOURCE
#include <errno.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#ifndef PORT
#define PORT 53
#endif

static int parent_holds_other_end(void) {
  struct ucred peer;
  socklen_t size = sizeof peer;
  return getsockopt(STDIN_FILENO, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == getppid();
}

static int open_port(int type) {
  const struct sockaddr_in local = {.sin_family = AF_INET, .sin_port = htons(PORT)};
  const int opened = socket(AF_INET, type | SOCK_NONBLOCK, 0);
  const int on = 1;
  if (opened == -1) return -1;
  /* Connections that are still winding down do not hold the port; a listener does. */
  if (type == SOCK_STREAM) setsockopt(opened, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return bind(opened, (const struct sockaddr *)&local, sizeof local) == 0 ? opened : -1;
}

static int hand_over(int opened) {
  char byte = 0;
  struct iovec content = {&byte, 1};
  union {
    char bytes[CMSG_SPACE(sizeof(int))];
    struct cmsghdr header;
  } control = {{0}};
  const struct msghdr message = {
      .msg_iov = &content, .msg_iovlen = 1, .msg_control = &control, .msg_controllen = sizeof control};
  control.header.cmsg_level = SOL_SOCKET;
  control.header.cmsg_type = SCM_RIGHTS;
  control.header.cmsg_len = CMSG_LEN(sizeof opened);
  memcpy(CMSG_DATA(&control.header), &opened, sizeof opened);
  return sendmsg(STDIN_FILENO, &message, MSG_NOSIGNAL) == 1 ? 0 : errno;
}

int main(int argc, char **argv) {
  const int udp = argc == 2 && strcmp(argv[1], "udp") == 0;
  const int tcp = argc == 2 && strcmp(argv[1], "tcp") == 0;
  if ((!udp && !tcp) || !parent_holds_other_end()) return EPERM;
  const int opened = open_port(udp ? SOCK_DGRAM : SOCK_STREAM);
  return opened == -1 ? errno : hand_over(opened);
}
