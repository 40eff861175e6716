#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTest>

#include "platform/qt/tray_service.h"
#include "tests/fakes/application.h"
#include "tests/fakes/fake_service.h"
#include "ui/tray_icon.h"

namespace quenvar {
namespace {

const QString kWatcher = "org.kde.StatusNotifierWatcher";
const QString kPath = "/StatusNotifierWatcher";

/// The part of a desktop that knows whether there is a tray.
struct FakeWatcher : QDBusVirtualObject {
  QString introspect(const QString& /*path*/) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.arguments() != QVariantList{kWatcher, "IsStatusNotifierHostRegistered"}) return false;
    ++asked;
    return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(hasTray))));
  }

  int asked = 0;
  bool hasTray = false;
};

TEST(TrayMenu, ShowsToTheFrontAndHidesOnce) {
  const TestApplication<QApplication> application;
  FakeService service;
  const TrayIcon icon({});
  const auto menu = qobject_cast<QMenu*>(QApplication::topLevelWidgets().value(0));
  ASSERT_NE(menu, nullptr);
  StayHiddenAtStart();
  for (const qsizetype entry : {0, 0, 1, 1}) menu->actions().at(entry)->trigger();
  EXPECT_EQ(trace, (Trace{"show", "tab update", "show", "show", "hide"}));
}

TEST(TrayService, FindsOnceATrayThatComesToTheSessionBusLater) {
  QProcess daemon;
  daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
  ASSERT_TRUE(daemon.waitForReadyRead());
  const QByteArray address = daemon.readLine().trimmed();
  qputenv("DBUS_SESSION_BUS_ADDRESS", address);
  const TestApplication<QGuiApplication> application;
  QDBusConnection desktop = QDBusConnection::connectToBus(address, "desktop");
  FakeWatcher watcher;
  ASSERT_TRUE(desktop.registerVirtualObject(kPath, &watcher));

  int found = 0;
  const TrayService service([&] { ++found; });
  const auto askedBy = [&](int times) { return QTest::qWaitFor([&] { return watcher.asked == times; }); };
  ASSERT_TRUE(desktop.registerService(kWatcher) && askedBy(1));
  EXPECT_EQ(found, 0);
  watcher.hasTray = true;
  for (int tray = 0; tray < 2; ++tray) {
    desktop.send(QDBusMessage::createSignal(kPath, kWatcher, "StatusNotifierHostRegistered"));
    ASSERT_TRUE(askedBy(2 + tray));
    EXPECT_TRUE(QTest::qWaitFor([&] { return found == 1; }));
  }
  QTest::qWait(50);
  EXPECT_EQ(found, 1) << "a second tray changes nothing";
  daemon.terminate();
  daemon.waitForFinished();
}

}  // namespace
}  // namespace quenvar
