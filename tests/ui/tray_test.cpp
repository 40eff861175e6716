#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QGuiApplication>
#include <QProcess>
#include <QTest>

#include "platform/qt/tray_service.h"
#include "tests/fakes/application.h"

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
