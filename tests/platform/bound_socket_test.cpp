#include "platform/posix/bound_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

namespace quenvar {
namespace {

TEST(SocketFromHelper, IsBoundAndNotInherited) {
  for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
    signal(SIGCHLD, SIG_IGN);  // as the one who starts the program may leave it
    const int first = SocketFromHelper(PORT_HELPER, type);
    ASSERT_NE(first, -1) << errno;
    sockaddr_in local{};
    socklen_t size = sizeof local;
    getsockname(first, reinterpret_cast<sockaddr*>(&local), &size);
    EXPECT_EQ(ntohs(local.sin_port), HELPERS_PORT);
    EXPECT_TRUE(fcntl(first, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(first, F_GETFD) & FD_CLOEXEC);
    if (type == SOCK_STREAM) listen(first, 1);
    EXPECT_EQ(SocketFromHelper(PORT_HELPER, type), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    close(first);
  }
}

TEST(SocketFromHelper, NeedsAHelperThatDoesItsWorkAndIsItsParent) {
  const std::string between = testing::TempDir() + "between";
  std::ofstream(between) << "#!/bin/sh\n" PORT_HELPER " \"$@\"\nexit $?\n";
  chmod(between.c_str(), 0755);
  for (const auto& [helper, error] : {std::pair(between, EPERM), {"/nonexistent", EACCES}, {"/bin/true", EACCES}}) {
    EXPECT_EQ(SocketFromHelper(helper.c_str(), SOCK_DGRAM), -1);
    EXPECT_EQ(errno, error) << helper;
  }
  unlink(between.c_str());
}

}  // namespace
}  // namespace quenvar
