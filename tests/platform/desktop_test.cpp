// The program's desktop and its host.
#include <gtest/gtest.h>

#include <QApplication>
#include <QNetworkInterface>
#include <QSessionManager>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

#include "platform/posix/host_network.h"
#include "platform/posix/system_clock.h"
#include "platform/qt/end_requests.h"
#include "platform/qt/qt_desktop.h"
#include "platform/qt/qt_timer.h"
#include "platform/qt/wait_notice.h"
#include "tests/fakes/application.h"

namespace quenvar {
namespace {

namespace fs = std::filesystem;

class DesktopTest : public testing::Test {
 protected:
  TestApplication<QApplication> application;
  QtDesktop desktop;
};

TEST_F(DesktopTest, TheProxyOfTheDesktopComesFromTheMessageLoop) {
  for (const auto& [set, expected] : {std::pair("http://10.1.2.3:8080", "http=10.1.2.3:8080;https=10.1.2.4:3128"),
                                      std::pair("direct://", "https=10.1.2.4:3128")}) {
    qputenv("http_proxy", set);
    qputenv("https_proxy", "http://10.1.2.4:3128");
    std::string answer = "none";
    desktop.AskProxyServer([](const std::string&) { ADD_FAILURE() << "replaced by the next"; });
    desktop.AskProxyServer([&](const std::string& setting) { answer = setting; });
    EXPECT_EQ(answer, "none");
    EXPECT_TRUE(QTest::qWaitFor([&] { return answer != "none"; }));
    EXPECT_EQ(answer, expected);
  }
}

TEST_F(DesktopTest, OnlyAPlainFileIsStarted) {
  const QTemporaryDir temporary;
  const fs::path folder = temporary.path().toStdString();
  std::ofstream(folder / "program") << "#!/bin/sh\npwd > here.part && mv here.part here\n";
  std::ofstream(folder / "text") << "no program\n";
  fs::permissions(folder / "program", fs::perms(0640));
  fs::create_symlink(folder / "program", folder / "link");
  for (const char* name : {"", "missing", "text", "link"}) EXPECT_FALSE(desktop.StartProgram(folder / name)) << name;
  EXPECT_TRUE(desktop.StartProgram(folder / "program"));
  EXPECT_EQ(fs::status(folder / "program").permissions(), fs::perms(0750));
  EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(folder / "here"); })) << "not started in its folder";
}

int ticks = 0;

TEST_F(DesktopTest, TheTimerTicksAndTheClocksGo) {
  QtTimer timer([] { ++ticks; });
  timer.SetIntervalMilliseconds(1);
  timer.Restart();
  SystemClock clock;
  const std::int32_t tick = clock.MillisecondTick();
  const std::string time = clock.TimeOfDay();
  EXPECT_TRUE(QTest::qWaitFor([&] { return ticks > 1 && clock.TimeOfDay() != time; }));
  EXPECT_GT(clock.MillisecondTick(), tick);
}

TEST_F(DesktopTest, LongWorkIsShown) {
  QtWaitNotice notice;
  EXPECT_TRUE(QTest::qWaitFor([&] {
    notice.Working();
    return !QApplication::topLevelWidgets().empty();
  }));
}

TEST_F(DesktopTest, AllAddressesOfTheHostAreItsOwn) {
  std::set<std::uint32_t> expected;
  for (const QHostAddress& address : QNetworkInterface::allAddresses())
    if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
      expected.insert(address.toIPv4Address());
  const auto own = HostNetwork().HostAddresses("");
  EXPECT_EQ(std::set<std::uint32_t>(own.begin(), own.end()), expected);
}

int saves = 0;
int ends = 0;

TEST_F(DesktopTest, TheSessionSavesAndEndsAndASignalEnds) {
  EndRequests requests([] { ++saves; }, [] { ++ends; });
  // Only the toolkit can make a session manager, and nobody looks at this one.
  alignas(QSessionManager) char nobody[sizeof(QSessionManager)] = {};
  emit application.commitDataRequest(reinterpret_cast<QSessionManager&>(nobody));
  EXPECT_EQ(std::pair(saves, ends), std::pair(1, 0)) << "a request to save may be followed by none to end";
  QEvent quit(QEvent::Quit);
  QCoreApplication::sendEvent(&application, &quit);
  EXPECT_EQ(std::pair(saves, ends), std::pair(1, 1));
  int expected = ends;
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    raise(number);
    EXPECT_TRUE(QTest::qWaitFor([&expected, before = expected] { return ends == before + 1 && ++expected; }));
  }
  requests.Release();
  QCoreApplication::sendEvent(&application, &quit);
  EXPECT_EQ(ends, expected);
}

}  // namespace
}  // namespace quenvar
