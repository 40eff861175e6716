// The main window under a window manager, on an X server of its own.
#include <QProcess>
#include <QWindow>

#include "tests/ui/window_fixture.h"

namespace quenvar {
namespace {

struct ManagedScreen {
  ManagedScreen() {
    server.start("Xvfb", {"-displayfd", "1", "-noreset", "-nolisten", "tcp"});
    EXPECT_TRUE(server.waitForReadyRead());
    qputenv("DISPLAY", ":" + server.readLine().trimmed());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");  // or its library looks for one on the screen, and leaks
    manager.start("openbox", {"--sm-disable", "--startup", "echo ready"});
    EXPECT_TRUE(manager.waitForReadyRead());
  }
  ~ManagedScreen() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    server.terminate();
    EXPECT_TRUE(manager.waitForFinished() && server.waitForFinished());
  }

  QProcess server, manager;
};

class WindowPlace : private ManagedScreen, public WindowTest {};

TEST_F(WindowPlace, TheWindowComesBackWhereItWasWithTheSameFocus) {
  Find("b7")->setFocus();
  // A window that moves itself is placed for ever, so it is moved from outside.
  const QString id = QString::number(form.winId());
  ASSERT_EQ(QProcess::execute("xdotool", {"windowmove", id, "123", "45"}), 0);
  const auto isThere = [this] { return form.windowHandle()->position() == QPoint(123, 45); };
  ASSERT_TRUE(QTest::qWaitFor(isThere));
  for (int time = 0; time < 2; ++time) {
    ToggleWindow();
    ASSERT_TRUE(QTest::qWaitFor([] { return QGuiApplication::focusWindow() == nullptr; }));
    ToggleWindow();
    EXPECT_TRUE(QTest::qWaitFor([this] { return QApplication::focusWidget() == Find("b7"); }));
    EXPECT_TRUE(isThere());
  }
}

}  // namespace
}  // namespace quenvar
