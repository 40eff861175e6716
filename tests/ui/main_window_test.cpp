#include "ui/main_window.h"

#include <QAccessible>
#include <QClipboard>
#include <QFile>
#include <QScrollBar>
#include <QTextBrowser>
#include <QTimer>
#include <QToolTip>
#include <cmath>

#include "platform/qt/http_client.h"
#include "platform/qt/qt_desktop.h"
#include "platform/qt/screen_text.h"
#include "tests/ui/window_fixture.h"
#include "update/dialog/update_dialog.h"

namespace quenvar {
namespace {

class MainWindow : public WindowTest {
 protected:
  // The names of the controls that the Tab key reaches, until it comes round.
  QString TabOrder() {
    QStringList names;
    Find("b7")->setFocus();
    do {
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      names << QApplication::focusWidget()->objectName();
    } while (names.back() != "b7" && names.size() < 99);
    return names.join(' ');
  }
};

TEST_F(MainWindow, LooksTheSameAtEveryShowAndUnderEveryTheme) {
  EXPECT_EQ(form.centralWidget()->size(), QSize(514, 379));
  const QImage first = form.grab().toImage();
  const QPalette ownColors = QApplication::palette();
  const auto checkAfter = [&](const char* what) {
    EXPECT_TRUE(QTest::qWaitFor([&] { return form.grab().toImage() == first; })) << what;
    EXPECT_TRUE(QApplication::font("QMenu") == form.font() && QToolTip::palette() == ownColors) << what;
  };
  QWidget other;
  ToggleWindow();
  other.show();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&other));
  ToggleWindow();
  checkAfter("the second show");
  Turn(kLogPage);
  Turn(kSystemPage);
  checkAfter("another page");
  QApplication::setPalette(Qt::black);
  checkAfter("dark colours");
  QApplication::setFont(QFont("Courier New", 20));
  checkAfter("a larger font");
  QApplication::setFont(QFont("Courier New", 20), "QMenu");
  QToolTip::setPalette(Qt::black);
  QEvent change(QEvent::ThemeChange);
  QApplication::sendEvent(&form, &change);
  checkAfter("a theme's fonts and colours for single classes");
  // The colours are nearly grey, and a power of 2.2 comes near to the curve of sRGB.
  const auto light = [&](QPalette::ColorRole role) {
    return 0.05 + std::pow(qGray(ownColors.color(QPalette::Disabled, role).rgb()) / 255.0, 2.2);
  };
  for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Highlight})
    EXPECT_GE(light(role) / light(QPalette::Text), 4.5) << "disabled text is too pale";
}

TEST_F(MainWindow, EveryControlStandsAtItsPlaceOnEverySystem) {
  for (const int page : {kServerPage, kLogPage, kAboutPage, kSystemPage}) Turn(page);
  QString found;
  for (const QWidget* const control : form.findChildren<QWidget*>()) {
    if (control->window() != &form || control->size() == QSize(100, 30)) continue;  // Not laid out: never shown.
    const QString name = control->objectName().isEmpty() ? control->metaObject()->className() : control->objectName();
    const QRect place(control->mapTo(&form, QPoint()), control->size());
    found +=
        QString::asprintf("%s %d,%d %dx%d\n", qPrintable(name), place.x(), place.y(), place.width(), place.height());
  }
  QFile wanted(QUENVAR_RECTANGLES);
  ASSERT_TRUE(wanted.open(QFile::ReadOnly));
  EXPECT_EQ(found.toStdString(), wanted.readAll().toStdString());
}

TEST_F(MainWindow, TheFirstButtonClearsWhatThePageShowsAndTheSecondAsksFirst) {
  AddServer(0, "10.1.0.1", "", 7);
  records.records["NAME"] = "value";
  TotalWinning = 7;
  ACACHE = 5;
  WriteLog("line");
  int left = 4;
  for (const int page : {kSystemPage, kServerPage, kLogPage}) {
    Turn(page);
    Click(Find("b1"));
    EXPECT_EQ((ACACHE != 0) + (TotalWinning != 0) + !LogText().empty() + !records.records.empty(), --left);
  }
  Turn(kSystemPage);
  for (const BoxAnswer answer : {BoxAnswer::Cancel, BoxAnswer::Ok}) {
    EXPECT_EQ(records.records.size(), 1u);
    boxes.answer = answer;
    Click(Find("b2"));
  }
  EXPECT_TRUE(records.records.empty() && records.tableOpen);
}

TEST_F(MainWindow, TheTabKeyReachesTheControlsOfThePageAndNoOptions) {
  EXPECT_EQ(TabOrder(), "b1 b2 b5 b6 b7");
  AddServer(0, "10.1.0.1");
  Turn(kServerPage);
  EXPECT_EQ(TabOrder(),
            "Check(0) Text(0) Desc(0) Proz(0) CheckI(0) Text(1) Text(2) Text(3) Text(4) Text(5) Text(6) "
            "Text(7) Text(8) Text(9) b1 b5 b6 b7");
  Turn(kLogPage);
  EXPECT_EQ(TabOrder(), "Text5 b1 b5 b6 b7");
  Turn(kAboutPage);
  EXPECT_EQ(TabOrder(), "b1 b5 b6 b7") << "the page of the link is in the Help menu";
}

TEST_F(MainWindow, EveryControlExplainsItself) {
  AddServer(0, "10.1.0.1", "", 1);
  TotalWinning = 8;
  const std::tuple<int, QString, QString> cases[] = {
      {0, "b1", "Clear cache statistics"},
      {0, "SSTab1", "SSTab1"},
      {0, "Quenvar_Mainform", ""},
      {1, "Check(0)", "Disable this name server"},
      {1, "Check(1)", "Enable this name server"},
      {1, "Text(1)", "Add the IP number of a name server here"},
      {1, "Proz(0)", "This server was the first to answer for 12.5% of all requests"},
  };
  for (const auto& [page, name, hint] : cases) {
    SCOPED_TRACE(name.toStdString());
    Turn(page);
    QWidget* const control = name == form.objectName() ? form.centralWidget() : Find(name);
    QTest::mouseMove(control, {4, control->height() - 4});
    EXPECT_EQ(LastHint, hint);
    EXPECT_EQ(Find<QLabel>("hlp")->text(), hint);
  }
}

// What a screen reader can say about what is on show in the window.
QStringList Spoken(QAccessibleInterface* part, const QWidget* window) {
  const auto* const control = qobject_cast<QWidget*>(part->object());
  if (control != nullptr && control != window && !control->isVisibleTo(window)) return {};
  QAccessibleValueInterface* const number = part->valueInterface();
  const QString value = number ? number->currentValue().toString() : part->text(QAccessible::Value);
  QStringList words{part->text(QAccessible::Name) + (value.isEmpty() ? "" : "=" + value)};
  for (int child = 0; child < part->childCount(); ++child) words << Spoken(part->child(child), window);
  words.removeAll("");
  return words;
}

TEST_F(MainWindow, AScreenReaderSaysWhatIsSeen) {
  AddServer(0, "10.1.0.1", "first");
  statisticsView->ShowCacheShare(11);
  statisticsView->ShowServerShare(33);
  statisticsView->ShowLostShare(56);
  statisticsView->ShowWaiting("7");
  statisticsView->ShowGain("1 h");
  ShowStatusHint("a hint");
  dialog.findChild<QLabel*>()->setText("Cannot add it.");
  QtHttpClient http;
  platform.http = &http;
  Quenvar_UpdateCheck update(nullptr);
  const std::tuple<int, QWidget*, QString> cases[] = {
      {1, &form,
       "Quenvar, Clear, Help!, Hide, Exit, a hint, Name Server: , Use name server 1, Address of name server "
       "1=10.1.0.1, "
       "Description of name server 1=first, First answers of name server 1=0%, Name server 1: No answer yet"},
      {0, &form,
       "Quenvar, Clear, Reset, Help!, Hide, Exit, a hint, Statistics, Served from cache=11, Served from name "
       "server=33, "
       "Not answered or lost=56, Waiting for an answer=7, Total gain=1 h, "},
      {2, &form,
       "Quenvar, Clear, Help!, Hide, Exit, a hint, DNS Log: , DNS Log, =0, Log, System, Server, Log, About, "},
      {3, &form,
       "Quenvar, Update, Help!, Hide, Exit, a hint, Quenvar, O, ltre, N, ix, "
       "www.oltrenix.example=http://www.oltrenix.example/, About, "},
      {3, &update, "Help!, Download progress=0, Cancel"},
      {3, &dialog, "Invalid DNS, Cannot add it., Correct!, Cancel"},
  };
  for (const auto& [page, shown, words] : cases) {
    Turn(page);
    const QString spoken = Spoken(QAccessible::queryAccessibleInterface(shown), shown).join(", ");
    EXPECT_TRUE(spoken.contains(words)) << spoken.toStdString();
    EXPECT_TRUE(shown != &form || spoken.endsWith("System, Server, Log, About, File, Help"));
  }
  const QImage bar = Find("Progress2")->grab().toImage();
  const auto color = [&](int percent) { return bar.pixel(bar.width() * percent / 100, bar.height() / 2); };
  EXPECT_TRUE(color(10) == color(30) && color(30) != color(40));
}

TEST_F(MainWindow, TheLogIsLiveButLeavesAReaderAloneUntilHeIsBack) {
  for (int line = 0; line < 100; ++line) WriteLog("line " + std::to_string(line));
  EXPECT_EQ(log->toPlainText(), "") << "nothing is drawn that cannot be seen";
  Turn(kLogPage);
  const auto isUpToDate = [this] { return log->toPlainText() == ToScreen(LogText()).remove('\r'); };
  for (const auto& [leave, modifier] : {std::pair(Qt::Key_PageUp, Qt::NoModifier), {Qt::Key_A, Qt::ControlModifier}}) {
    SCOPED_TRACE(leave);
    WriteLog("live <b>name</b> \x01\xe4\x80\u0416\u202E");
    EXPECT_TRUE(QTest::qWaitFor(isUpToDate, 10000));
    EXPECT_TRUE(log->viewport()->rect().contains(log->cursorRect().center()) && log->textCursor().atEnd());
    EXPECT_TRUE(
        log->toPlainText().endsWith(QStringLiteral("12:00:00 live <b>name</b> \u25AF\u00E4\u20AC\u0416\u25AF\n")));
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
    EXPECT_TRUE(QTest::qWaitFor(isUpToDate, 10000));
  }
  ClearLog();
  EXPECT_EQ(log->toPlainText(), "") << "at once";
}

TEST_F(MainWindow, OptionsMoveTheCheckBoxesAndClicksMoveTheOptions) {
  SetCheck2(1);
  SetCheck3(0);
  EXPECT_TRUE(Find<QCheckBox>("Check2")->isChecked());
  QTest::mouseClick(Find("Check2"), Qt::LeftButton, {}, {5, Find("Check2")->height() / 2});
  EXPECT_EQ(Check2, 0);
  EXPECT_TRUE(LogLines().empty()) << "loading is not switching";
  for (const Boolean16 noCache : {kTrue, kFalse}) {
    QTest::mouseClick(Find("Check3"), Qt::LeftButton, {}, {5, Find("Check3")->height() / 2});
    EXPECT_EQ(NoCache, noCache);
  }
  EXPECT_EQ(LogLines(), (Trace{" * Cache disabled", " * Cache enabled"}));
}

TEST_F(MainWindow, F1OpensThePagesHelpAndUpdateItsDialog) {
  QtDesktop real;
  platform.desktop = &real;
  QtHttpClient http;
  platform.http = &http;
  SetHelpFile(QUENVAR_HELP_FILE);
  int page = 0;
  for (const char* const file : {"system.html", "server.html", "log.html", "about.html"}) {
    Turn(page++);
    form.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&form));
    QTest::keyClick(&form, Qt::Key_F1);
    EXPECT_EQ(form.findChild<QTextBrowser*>()->source().fileName(), file);
  }
  Click(Find("b5"));
  EXPECT_EQ(form.findChild<QTextBrowser*>()->source().fileName(), "about.html") << "the help itself is in front";
  QString opened;
  QTimer::singleShot(0, &form, [&] {
    opened = QApplication::activeModalWidget()->objectName();
    QApplication::activeModalWidget()->close();
  });
  Click(Find("b1"));
  EXPECT_EQ(opened, "Quenvar_UpdateCheck");
}

TEST_F(MainWindow, ClosingAndEscHideAndTheMenuEnds) {
  Turn(kLogPage);
  form.close();
  EXPECT_EQ(std::pair(form.isVisible(), CurrentPage), std::pair(false, kNoPage));
  ToggleWindow();
  EXPECT_EQ(std::pair(form.isVisible(), CurrentPage), std::pair(true, kLogPage));
  QTest::keyClick(log, Qt::Key_Escape);
  EXPECT_FALSE(form.isVisible() || events.quit);
  form.findChild<QAction*>("mnuQuit")->trigger();
  EXPECT_TRUE(events.quit);
}

}  // namespace
}  // namespace quenvar
