#include "ui/log_box.h"

#include <QClipboard>
#include <QScrollBar>

#include "platform/qt/screen_text.h"
#include "tests/ui/window_fixture.h"

namespace quenvar {
namespace {

class LogBoxTest : public WindowTest {
 protected:
  LogBoxTest() {
    for (int line = 0; line < 100; ++line) WriteLog("line " + std::to_string(line));
    EXPECT_EQ(log->toPlainText(), "") << "nothing is drawn that cannot be seen";
    Turn(kLogPage);
  }

  bool BecomesUpToDate() {
    return QTest::qWaitFor([this] { return log->toPlainText() == ToScreen(LogText()).remove('\r'); }, 2000);
  }
};

TEST_F(LogBoxTest, IsLiveAndLeavesAReaderAloneUntilHeIsBack) {
  for (const auto& [leave, modifier] : {std::pair(Qt::Key_PageUp, Qt::NoModifier), {Qt::Key_A, Qt::ControlModifier}}) {
    SCOPED_TRACE(leave);
    WriteLog("live <b>name</b> \x01\xe4\x80");
    EXPECT_TRUE(BecomesUpToDate());
    EXPECT_TRUE(log->viewport()->rect().contains(log->cursorRect().center()) && log->textCursor().atEnd());
    EXPECT_TRUE(log->toPlainText().endsWith(QStringLiteral("12:00:00 live <b>name</b> \u25AF\u00E4\u20AC\n")));
    QTest::keyClick(log, leave, modifier);
    QTest::keyClick(log, leave, modifier);
    QTest::keyClick(log, Qt::Key_C, Qt::ControlModifier);
    const QString read = log->toPlainText();
    const int position = log->verticalScrollBar()->value();
    WriteLog("new");
    QTest::qWait(200);
    EXPECT_EQ(log->toPlainText(), read);
    EXPECT_EQ(QApplication::clipboard()->text(), leave == Qt::Key_A ? read : "");
    EXPECT_EQ(log->verticalScrollBar()->value(), position);
    QTest::keyClick(log, Qt::Key_End, Qt::ControlModifier);
    EXPECT_TRUE(BecomesUpToDate());
  }
  ClearLog();
  EXPECT_EQ(log->toPlainText(), "") << "at once";
}

}  // namespace
}  // namespace quenvar
