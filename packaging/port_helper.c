/* Opens the DNS port, UDP and TCP, for which an ordinary program lacks the right, and hands the two sockets to the
 * program that started this one, which holds the other end of its standard input; to nobody else.
 *
 * pkexec starts it as root once polkit allows that, and tells in PKEXEC_UID who asked. Before anything else it gives up
 * every right but that to open the port, and becomes that user. Started in any other way it has no right at all.
 *
 *   port-helper      exit status: 0, or the errno of what failed
 */
#define _GNU_SOURCE
#include <errno.h>
#include <grp.h>
#include <linux/capability.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef PORT
#define PORT 53
#endif

#define NOBODYS_GROUP 65534

/* The user who asked; -1 when nobody says. */
static uid_t caller(void) {
  const char *text = getenv("PKEXEC_UID");
  if (text == NULL || *text == '\0' || strspn(text, "0123456789") != strlen(text)) return (uid_t)-1;
  const unsigned long number = strtoul(text, NULL, 10);
  return number < (uid_t)-1 ? (uid_t)number : (uid_t)-1;
}

/* The capabilities of `mask`, none above 31, and no others. */
static int keep_capabilities(__u32 mask) {
  struct __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3};
  struct __user_cap_data_struct data[2] = {{.effective = mask, .permitted = mask}};
  return (int)syscall(SYS_capset, &header, data);
}

/* 0, or -1 with errno set. */
static int become(uid_t user) {
  const __u32 open_port = 1U << CAP_NET_BIND_SERVICE;
  const __u32 change_user = 1U << CAP_SETUID | 1U << CAP_SETGID;
  for (int capability = 0; capability <= CAP_LAST_CAP; ++capability) prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
  if (keep_capabilities(open_port | change_user) != 0 || prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0) return -1;
  if (setgroups(0, NULL) != 0 || setresgid(NOBODYS_GROUP, NOBODYS_GROUP, NOBODYS_GROUP) != 0) return -1;
  if (setresuid(user, user, user) != 0 || keep_capabilities(open_port) != 0) return -1;
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
}

static int parent_holds_other_end(void) {
  struct ucred peer;
  socklen_t size = sizeof peer;
  return getsockopt(STDIN_FILENO, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == getppid() &&
         peer.uid == getuid();
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

static int hand_over(const int sockets[2]) {
  char byte = 0;
  struct iovec content = {&byte, 1};
  union {
    char bytes[CMSG_SPACE(2 * sizeof(int))];
    struct cmsghdr header;
  } control = {{0}};
  const struct msghdr message = {
      .msg_iov = &content, .msg_iovlen = 1, .msg_control = &control, .msg_controllen = sizeof control};
  control.header.cmsg_level = SOL_SOCKET;
  control.header.cmsg_type = SCM_RIGHTS;
  control.header.cmsg_len = CMSG_LEN(2 * sizeof(int));
  memcpy(CMSG_DATA(&control.header), sockets, 2 * sizeof(int));
  return sendmsg(STDIN_FILENO, &message, MSG_NOSIGNAL) == 1 ? 0 : errno;
}

int main(void) {
  const uid_t user = caller();
  clearenv();
  if (geteuid() == 0) {
    if (user == (uid_t)-1) return EPERM;
    if (become(user) != 0) return errno;
  }
  if (!parent_holds_other_end()) return EPERM;
  const int udp = open_port(SOCK_DGRAM);
  if (udp == -1) return errno;
  const int tcp = open_port(SOCK_STREAM);
  if (tcp == -1) return errno;
  return hand_over((const int[2]){udp, tcp});
}
