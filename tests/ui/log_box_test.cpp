#include "ui/log_box.h"

#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <QTest>

#include "platform/qt/screen_text.h"
#include "tests/fakes/application.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

class LogBoxTest : public Service {
 protected:
  LogBoxTest() {
    logView = &box;
    box.resize(473, 217);
    for (int line = 0; line < 100; ++line) WriteLog("line " + std::to_string(line));
    box.show();
  }
  ~LogBoxTest() override {
    static LogView none;
    logView = &none;
  }

  bool BecomesUpToDate() {
    return QTest::qWaitFor([this] { return box.toPlainText() == ToScreen(LogText()).remove('\r'); }, 2000);
  }

  TestApplication<QApplication> application;
  LogBox box{nullptr};
};

TEST_F(LogBoxTest, LeavesAReaderAloneUntilHeIsBack) {
  for (const auto& [leave, modifier] : {std::pair(Qt::Key_PageUp, Qt::NoModifier), {Qt::Key_A, Qt::ControlModifier}}) {
    SCOPED_TRACE(leave);
    QTest::keyClick(&box, leave, modifier);
    QTest::keyClick(&box, leave, modifier);
    const QString read = box.toPlainText();
    const int position = box.verticalScrollBar()->value();
    WriteLog("new");
    QTest::qWait(200);
    EXPECT_EQ(box.toPlainText(), read);
    EXPECT_EQ(box.verticalScrollBar()->value(), position);
    QTest::keyClick(&box, Qt::Key_End, Qt::ControlModifier);
    EXPECT_TRUE(BecomesUpToDate());
    EXPECT_TRUE(box.viewport()->rect().contains(box.cursorRect().center()) && box.textCursor().atEnd());
  }
}

TEST_F(LogBoxTest, CopiesWhatIsSelectedAndIsEmptyAtOnce) {
  QTest::keyClick(&box, Qt::Key_A, Qt::ControlModifier);
  WriteLog("new");
  QTest::keyClick(&box, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(), box.toPlainText());
  ClearLog();
  EXPECT_EQ(box.toPlainText(), "");
  WriteLog("new");
  EXPECT_TRUE(BecomesUpToDate());
}

}  // namespace
}  // namespace quenvar
