#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QNetworkDatagram>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUdpSocket>
#include <csignal>
#include <fstream>

#include "platform/posix/bound_socket.h"
#include "platform/qt/qt_event_loop.h"
#include "platform/qt/socket_udp_port.h"
#include "tests/fakes/application.h"

namespace quenvar {
namespace {

// A handler is a plain procedure: what it does with every datagram, after it has set the port to answer.
std::function<void(const std::string& message)> onData;
SocketUdpPort* answering = nullptr;

class UdpSockets : public testing::Test {
 protected:
  UdpSockets() {
    answering = &port;
    EXPECT_TRUE(peer.bind(QHostAddress::LocalHost));
    port.SetDataArrived([](std::string_view message, const std::string& address, std::int32_t from) {
      const std::string copy(message);
      answering->SetRemoteHost(address);
      answering->SetRemotePort(from);
      onData(copy);
      EXPECT_EQ(message, copy) << "a message stays while its handler lets others arrive";
    });
    port.SetAcceptData(true);
    port.SetLocalPort(0);
    EXPECT_EQ(port.Activate(), 0);
  }

  void Send(const char* message) {
    peer.writeDatagram(message, QHostAddress(QHostAddress::LocalHost), port.BoundPort());
  }

  TestApplication<QCoreApplication> application;
  QtEventLoop events;
  SocketUdpPort port{events};
  QUdpSocket peer;
};

TEST_F(UdpSockets, NothingIsSentToNobody) {
  for (const char* nobody : {"localhost", "0.0.0.0", "...", "255.255.255.255"}) {
    port.SetRemoteHost(nobody);
    port.SetRemotePort(53);
    EXPECT_FALSE(port.Send("x")) << nobody;
  }
}

// As a handler does that shows a box.
TEST_F(UdpSockets, AHandlerThatWaitsHoldsNothingBack) {
  std::string order;
  std::string late;
  onData = [&](const std::string& message) {
    order += message;
    if (message != "a") return;
    for (const char* part : {"1", "2"}) EXPECT_TRUE(port.Send(part));
    if (!late.empty()) Send(late.c_str());
    QEventLoop box;
    QTimer::singleShot(100, &box, &QEventLoop::quit);
    box.exec();
    while (peer.hasPendingDatagrams()) order += peer.receiveDatagram().data().toStdString();
  };
  for (const char* next : {"", "c"}) {
    order.clear();
    late = next;
    Send("a");
    Send("b");
    EXPECT_TRUE(QTest::qWaitFor([&] { return order == "ab" + late + "12"; })) << order;
  }
}

TEST_F(UdpSockets, ABurstNestsOnlyToASmallDepth) {
  int depth = 0;
  int deepest = 0;
  int handled = 0;
  onData = [&](const std::string&) {
    deepest = std::max(deepest, ++depth);
    ++handled;
    usleep(300);  // longer than events wait for a yield
    events.Yield();
    --depth;
  };
  for (int i = 0; i < 1000; ++i) Send("x");
  EXPECT_TRUE(QTest::qWaitFor([&] { return handled == 1000; }, 10000));
  EXPECT_EQ(deepest, 2);
}

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
  const QTemporaryDir folder;
  const std::string between = folder.filePath("between").toStdString();
  std::ofstream(between) << "#!/bin/sh\n" PORT_HELPER " \"$@\"\nexit $?\n";
  chmod(between.c_str(), 0755);
  for (const auto& [helper, error] : {std::pair(between, EPERM), {"/nonexistent", EACCES}, {"/bin/true", EACCES}}) {
    EXPECT_EQ(SocketFromHelper(helper.c_str(), SOCK_DGRAM), -1);
    EXPECT_EQ(errno, error) << helper;
  }
}

}  // namespace
}  // namespace quenvar
