#include "ui/main_window.h"

#include <QGroupBox>
#include <QToolButton>

#include "tests/ui/window_fixture.h"

namespace quenvar {
namespace {

class MainWindow : public WindowTest {
 protected:
  QStringList ShownButtons() {
    QStringList captions;
    for (const auto* const button : form.findChildren<QToolButton*>())
      if (button->isVisible()) captions << button->text();
    return captions;
  }

  // The names of the controls that the Tab key reaches, until it comes round.
  QStringList TabOrder() {
    QStringList names;
    Find("b7")->setFocus();
    do {
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      names << QApplication::focusWidget()->objectName();
    } while (names.back() != "b7" && names.size() < 99);
    return names;
  }
};

TEST_F(MainWindow, HasItsPagesAndTheButtonsOfEachPage) {
  EXPECT_EQ(form.centralWidget()->size(), QSize(514, 379));
  const std::pair<QString, QStringList> cases[] = {
      {"&System", {"&Clear", "&Reset"}}, {"Se&rver", {"&Clear"}}, {"&Log", {"&Clear"}}, {"Abou&t", {"Update"}}};
  for (const int page : {0, 1, 2, 3, 0}) {
    Turn(page);
    EXPECT_EQ(pages->tabText(page), cases[page].first);
    EXPECT_EQ(ShownButtons(), cases[page].second + QStringList({"H&elp!", "&Hide", "E&xit"})) << page;
    int frames = 0;
    for (const QGroupBox* const frame : form.findChildren<QGroupBox*>()) frames += frame->isVisible() ? 1 : 0;
    EXPECT_EQ(frames, page == 0 ? 2 : 1) << page;
  }
}

TEST_F(MainWindow, TheFirstButtonClearsWhatThePageShows) {
  AddServer(0, "10.1.0.1", "", 7);
  TotalWinning = 7;
  ACACHE = 5;
  WriteLog("line");
  const auto left = [] { return std::tuple(ACACHE != 0, TotalWinning != 0, !LogText().empty()); };
  Click(Find("b1"));
  EXPECT_EQ(left(), std::tuple(false, true, true));
  Turn(kServerPage);
  Click(Find("b1"));
  EXPECT_EQ(left(), std::tuple(false, false, true));
  Turn(kLogPage);
  Click(Find("b1"));
  EXPECT_EQ(left(), std::tuple(false, false, false));
}

TEST_F(MainWindow, ResetAsksBeforeItThrowsTheCacheAway) {
  records.records["NAME"] = "value";
  boxes.answer = BoxAnswer::Cancel;
  Click(Find("b2"));
  EXPECT_EQ(records.records.size(), 1u);
  boxes.answer = BoxAnswer::Ok;
  Click(Find("b2"));
  EXPECT_TRUE(records.records.empty());
  EXPECT_TRUE(records.tableOpen);
}

TEST_F(MainWindow, TheTabKeyReachesTheControlsOfThePageAndNoOptions) {
  EXPECT_EQ(TabOrder(), QStringList({"b1", "b2", "b5", "b6", "b7"}));
  AddServer(0, "10.1.0.1");
  Turn(kServerPage);
  QStringList expected = {"Check(0)", "Text(0)", "Desc(0)", "Proz(0)", "CheckI(0)"};
  for (int row = 1; row < kServerRows; ++row) expected << QString("Text(%1)").arg(row);
  EXPECT_EQ(TabOrder(), expected + QStringList({"b1", "b5", "b6", "b7"}));
  Turn(kLogPage);
  EXPECT_EQ(TabOrder(), QStringList({"Text5", "b1", "b5", "b6", "b7"}));
}

TEST_F(MainWindow, EveryControlExplainsItself) {
  AddServer(0, "10.1.0.1", "", 1);
  TotalWinning = 8;
  const std::tuple<int, QString, QString> cases[] = {
      {0, "b1", "Clear cache statistics"},
      {0, "Progress1", "Percentage of DNS requests which were answered from the cache"},
      {0, "Progress3", "Percentage of DNS Requests which were lost or not answered"},
      {0, "Text7", "Percentage of DNS requests which were lost or not answered"},
      {0, "Check2", "Keep Quenvar in the system tray at start up."},
      {0, "SSTab1", "SSTab1"},
      {0, "hlp", "SSTab1"},
      {0, "Quenvar_Mainform", ""},
      {1, "b1", "Reset name server statistics"},
      {1, "Check(0)", "Disable this name server"},
      {1, "Check(1)", "Enable this name server"},
      {1, "Text(0)", "Edit this name server"},
      {1, "Text(1)", "Add the IP number of a name server here"},
      {1, "Proz(0)", "This server was the first to answer for 12.5% of all requests"},
      {1, "CheckI(0)", "You will see a green 'OK' if this nameserver did answer"},
      {2, "b1", "Clear the log window"},
      {2, "qt_scrollarea_viewport", "Quenvar event log"},
      {3, "Label11", "Visit the Oltrenix web page"},
  };
  for (const auto& [page, name, hint] : cases) {
    Turn(page);
    QWidget* const control = name == form.objectName() ? form.centralWidget() : Find(name);
    ASSERT_NE(control, nullptr) << name.toStdString();
    const QPoint place(4, control->height() - 4);
    QTest::mouseMove(control, place);
    EXPECT_EQ(LastHint.toStdString(), hint.toStdString()) << page << name.toStdString();
    EXPECT_EQ(Find<QLabel>("hlp")->text(), LastHint);
    for (const QWidget* const shown : form.findChildren<QWidget*>())
      EXPECT_TRUE(shown->focusPolicy() == Qt::NoFocus || !shown->accessibleName().isEmpty() || !shown->isVisible())
          << "no name to speak: " << shown->metaObject()->className();
  }
}

TEST_F(MainWindow, TheLogIsLiveWhileItsPageIsShown) {
  WriteLog("before <b>name</b> \x01\xe4\x80");
  EXPECT_EQ(log->toPlainText(), "") << "nothing is drawn that cannot be seen";
  Turn(kLogPage);
  EXPECT_EQ(log->toPlainText(), QStringLiteral("12:00:00 before <b>name</b> \u25AF\u00E4\u20AC\n"));
  for (int line = 0; line < 100; ++line) WriteLog("line");
  EXPECT_TRUE(QTest::qWaitFor([&] { return log->blockCount() == 102; }, 5000));
  EXPECT_TRUE(log->viewport()->rect().contains(log->cursorRect().center())) << "the newest line is in view";
}

TEST_F(MainWindow, OptionsMoveTheCheckBoxesAndClicksMoveTheOptions) {
  SetCheck2(1);
  SetCheck3(0);
  EXPECT_TRUE(Find<QCheckBox>("Check2")->isChecked());
  EXPECT_TRUE(LogLines().empty()) << "loading is not switching";
  for (const Boolean16 noCache : {kTrue, kFalse}) {
    QTest::mouseClick(Find("Check3"), Qt::LeftButton, Qt::NoModifier, QPoint(5, Find("Check3")->height() / 2));
    EXPECT_EQ(NoCache, noCache);
  }
  EXPECT_EQ(LogLines(), (Trace{" * Cache disabled", " * Cache enabled"}));
}

TEST_F(MainWindow, ClosingAndEscHideAndTheMenuEnds) {
  Turn(kLogPage);
  form.close();
  EXPECT_FALSE(form.isVisible());
  EXPECT_EQ(CurrentPage, kNoPage);
  ToggleWindow();
  EXPECT_TRUE(form.isVisible());
  EXPECT_EQ(CurrentPage, kLogPage);
  QTest::keyClick(log, Qt::Key_Escape);
  EXPECT_FALSE(form.isVisible());
  EXPECT_FALSE(events.quit);
  form.findChild<QAction*>("mnuQuit")->trigger();
  EXPECT_TRUE(events.quit);
}

}  // namespace
}  // namespace quenvar
