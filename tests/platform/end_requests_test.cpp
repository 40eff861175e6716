#include "platform/qt/end_requests.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QSessionManager>
#include <QTest>
#include <csignal>

#include "tests/fakes/application.h"

namespace quenvar {
namespace {

int saves = 0;
int ends = 0;

TEST(EndRequests, TheSessionSavesAndEndsAndASignalEnds) {
  TestApplication<QGuiApplication> application;
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
