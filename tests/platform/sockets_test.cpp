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

// As pkexec starts it, for a user who is nobody else.
const std::vector<std::string> kHelper = {"/usr/bin/env", "PKEXEC_UID=" + std::to_string(getuid()), PORT_HELPER};

TEST(SocketsFromHelper, AreBoundAndNotInherited) {
  for (const bool udp : {true, false}) {
    signal(SIGCHLD, SIG_IGN);  // as the one who starts the program may leave it
    const HelpersSockets first = SocketsFromHelper(kHelper);
    ASSERT_NE(first.tcp, -1) << errno;
    for (const int opened : {first.udp, first.tcp}) {
      sockaddr_in local{};
      socklen_t size = sizeof local;
      getsockname(opened, reinterpret_cast<sockaddr*>(&local), &size);
      EXPECT_EQ(ntohs(local.sin_port), HELPERS_PORT);
      EXPECT_TRUE(fcntl(opened, F_GETFL) & O_NONBLOCK);
      EXPECT_TRUE(fcntl(opened, F_GETFD) & FD_CLOEXEC);
    }
    close(udp ? first.tcp : first.udp);
    if (!udp) listen(first.tcp, 1);
    EXPECT_EQ(SocketsFromHelper(kHelper).udp, -1) << "one of both is taken";
    EXPECT_EQ(errno, EADDRINUSE);
    close(udp ? first.udp : first.tcp);
  }
}

TEST(SocketsFromHelper, NeedAHelperThatDoesItsWorkAndIsItsParent) {
  const QTemporaryDir folder;
  const std::string between = folder.filePath("between").toStdString();
  std::ofstream(between) << "#!/bin/sh\n" << kHelper[1] << " " PORT_HELPER "\nexit $?\n";
  chmod(between.c_str(), 0755);
  const std::pair<std::vector<std::string>, int> cases[] = {{{between}, EPERM},
                                                            {{"/nonexistent"}, EACCES},
                                                            {{"/bin/true"}, EACCES},
                                                            {{"/bin/sh", "-c", "exit 126"}, EACCES},
                                                            {{"/bin/sh", "-c", "exit 127"}, EACCES}};
  for (const auto& [command, error] : cases) {
    EXPECT_EQ(SocketsFromHelper(command).udp, -1);
    EXPECT_EQ(errno, error) << command.back();
  }
}

}  // namespace
}  // namespace quenvar
