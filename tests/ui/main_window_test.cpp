#include "ui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QGroupBox>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "platform/qt/qt_message_boxes.h"
#include "platform/qt/screen_text.h"
#include "tests/fakes/service.h"
#include "ui/layout.h"

namespace quenvar {
namespace {

int argumentCount = 1;
char programName[] = "test";
char* arguments[] = {programName, nullptr};

class MainWindow : public Service {
 protected:
  MainWindow() {
    mainWindow = &form;
    tray = &trayIcon;
    logView = form.Log();
    statisticsView = form.Statistics();
    optionsView = &form;
    EXPECT_TRUE(form.SetFontName("Tahoma"));
    pages = form.findChild<QTabBar*>();
    log = form.findChild<QPlainTextEdit*>();
  }
  ~MainWindow() override {
    static LogView noLog;
    static StatisticsView noStatistics;
    static OptionsView noOptions;
    logView = &noLog;
    statisticsView = &noStatistics;
    optionsView = &noOptions;
  }

  QAction* Entry(const QString& caption) {
    for (QAction* const action : form.findChildren<QAction*>())
      if (action->text() == caption) return action;
    return nullptr;
  }

  QApplication application{argumentCount, arguments};
  Quenvar_Mainform form;
  QTabBar* pages;
  QPlainTextEdit* log;
};

TEST_F(MainWindow, HasItsFourPagesAndItsSize) {
  form.ShowWindow();
  EXPECT_EQ(form.centralWidget()->size(), QSize(514, 379));
  QStringList captions;
  for (int page = 0; page < pages->count(); ++page) captions << pages->tabText(page);
  EXPECT_EQ(captions, QStringList({"&System", "Se&rver", "&Log", "Abou&t"}));
  for (int page = 0; page < 4; ++page) {
    pages->setCurrentIndex(page);
    EXPECT_EQ(CurrentPage, page);
    int visible = 0;
    for (const QGroupBox* const frame : form.findChildren<QGroupBox*>()) visible += frame->isVisible() ? 1 : 0;
    EXPECT_EQ(visible, page == 0 ? 2 : 1) << page;
  }
}

TEST_F(MainWindow, TheLogIsLiveWhileItsPageIsShown) {
  WriteLog("before <b>name</b> \x01\xe4\x80");
  form.ShowWindow();
  EXPECT_EQ(log->toPlainText(), "") << "nothing is drawn that cannot be seen";
  pages->setCurrentIndex(kLogPage);
  EXPECT_EQ(log->toPlainText(), QStringLiteral("12:00:00 before <b>name</b> \u25AF\u00E4\u20AC\n"));
  for (int line = 0; line < 100; ++line) WriteLog("line");
  EXPECT_TRUE(QTest::qWaitFor([&] { return log->blockCount() == 102; }, 5000));
  EXPECT_TRUE(log->viewport()->rect().contains(log->cursorRect().center())) << "the newest line is in view";
}

TEST_F(MainWindow, OptionsMoveTheCheckBoxesAndClicksMoveTheOptions) {
  form.ShowWindow();
  SetCheck2(1);
  SetCheck3(0);
  const auto checks = form.findChildren<QCheckBox*>();
  ASSERT_EQ(checks.size(), 2);
  EXPECT_TRUE(checks[0]->isChecked());
  EXPECT_TRUE(LogLines().empty()) << "loading is not switching";
  QTest::mouseClick(checks[1], Qt::LeftButton, Qt::NoModifier, QPoint(5, checks[1]->height() / 2));
  EXPECT_EQ(NoCache, kTrue);
  QTest::mouseClick(checks[1], Qt::LeftButton, Qt::NoModifier, QPoint(5, checks[1]->height() / 2));
  EXPECT_EQ(NoCache, kFalse);
  EXPECT_EQ(LogLines(), (Trace{" * Cache disabled", " * Cache enabled"}));
}

TEST_F(MainWindow, ClosingHidesAndTheMenuEnds) {
  form.ShowWindow();
  form.close();
  EXPECT_FALSE(form.isVisible());
  EXPECT_EQ(CurrentPage, kNoPage);
  ToggleWindow();
  EXPECT_TRUE(form.isVisible());
  EXPECT_FALSE(events.quit);
  Entry("&Exit")->trigger();
  EXPECT_TRUE(events.quit);
}

TEST_F(MainWindow, ABoxThatIsOpenIsNotOpenedAgain) {
  QtMessageBoxes real;
  int opened = 0;
  QTimer::singleShot(0, [&] {
    EXPECT_EQ(real.Show("<b>text</b>", "title", BoxIcon::Critical, BoxButtons::Ok), BoxAnswer::Cancel);
    for (QWidget* const top : QApplication::topLevelWidgets())
      if (auto* const box = qobject_cast<QMessageBox*>(top)) {
        ++opened;
        EXPECT_EQ(box->textFormat(), Qt::PlainText);
        box->button(QMessageBox::Ok)->click();
      }
  });
  EXPECT_EQ(real.Show("<b>text</b>", "title", BoxIcon::Critical, BoxButtons::Ok), BoxAnswer::Ok);
  EXPECT_EQ(opened, 1);
}

}  // namespace
}  // namespace quenvar
