#include "ui/log_box.h"

#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <QTest>

#include "platform/qt/screen_text.h"
#include "tests/fakes/service.h"

namespace quenvar {
namespace {

int argumentCount = 1;
char programName[] = "test";
char* arguments[] = {programName, nullptr};

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

  bool IsUpToDate() const { return box.toPlainText() == ToScreen(LogText()).remove('\r'); }
  bool BecomesUpToDate() {
    return QTest::qWaitFor([this] { return IsUpToDate(); }, 2000);
  }
  bool IsAtEnd() const {
    return box.viewport()->rect().contains(box.cursorRect().center()) && box.textCursor().atEnd();
  }

  QApplication application{argumentCount, arguments};
  LogBox box{nullptr};
};

TEST_F(LogBoxTest, LeavesAReaderAloneUntilHeIsBack) {
  struct {
    const char* what;
    Qt::Key leave;
    Qt::Key back;
    Qt::KeyboardModifier modifier;
  } const cases[] = {{"scrolled back", Qt::Key_PageUp, Qt::Key_End, Qt::NoModifier},
                     {"selected", Qt::Key_A, Qt::Key_End, Qt::ControlModifier}};
  for (const auto& [what, leave, back, modifier] : cases) {
    QTest::keyClick(&box, leave, modifier);
    QTest::keyClick(&box, leave, modifier);
    const QString read = box.toPlainText();
    const int position = box.verticalScrollBar()->value();
    WriteLog("new");
    QTest::qWait(200);
    EXPECT_EQ(box.toPlainText(), read) << what;
    EXPECT_EQ(box.verticalScrollBar()->value(), position) << what;
    QTest::keyClick(&box, back, Qt::ControlModifier);
    EXPECT_TRUE(BecomesUpToDate() && IsAtEnd()) << what;
  }
}

TEST_F(LogBoxTest, CopiesWhatIsSelected) {
  QTest::keyClick(&box, Qt::Key_A, Qt::ControlModifier);
  WriteLog("new");
  QTest::keyClick(&box, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(), box.toPlainText());
}

TEST_F(LogBoxTest, IsEmptyAtOnceAlsoUnderAReader) {
  QTest::keyClick(&box, Qt::Key_A, Qt::ControlModifier);
  ClearLog();
  EXPECT_EQ(box.toPlainText(), "");
  WriteLog("new");
  EXPECT_TRUE(BecomesUpToDate());
}

}  // namespace
}  // namespace quenvar
