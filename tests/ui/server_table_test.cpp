#include "ui/server_table.h"

#include <QPushButton>
#include <QTimer>

#include "tests/ui/window_fixture.h"

namespace quenvar {
namespace {

class Table : public WindowTest {
 protected:
  Table() {
    AddServer(0, "10.1.0.1", "first", 1);
    AddServer(1, "10.1.0.2", "second", 2);
    TotalWinning = 3;
    Turn(kServerPage);
    QTest::qWait(150);  // until it is drawn
  }

  template <class Control = QLineEdit>
  Control* Cell(const char* column, int row) {
    return Find<Control>(QString("%1(%2)").arg(column).arg(row));
  }
  QLineEdit* Address(int row) { return Cell("Text", row); }
  QCheckBox* Box(int row) { return Cell<QCheckBox>("Check", row); }

  // A row as it is seen, once the table has followed: it does so at the pace of the eye.
  std::string Row(int row) {
    QTest::qWait(150);
    const QLineEdit* const description = Cell("Desc", row);
    QString seen = Box(row)->isChecked() ? "[x] " : "[ ] ";
    seen += Address(row)->text() + ", " + description->text() + ", " + Cell("Proz", row)->text();
    if (!Box(row)->isEnabled()) seen += ", fixed";
    if (!description->isEnabled()) seen += ", off";
    if (description->palette().color(QPalette::Base) != Qt::white) seen += ", grey";
    if (Cell<QWidget>("CheckI", row)->isVisible()) seen += ", " + Cell<QWidget>("CheckI", row)->toolTip();
    return seen.toStdString();
  }

  // What a user does: a click into the cell, then keys.
  void Type(QLineEdit* cell, const QString& text) {
    Click(cell);
    cell->selectAll();
    QTest::keyClick(cell, Qt::Key_Delete);
    QTest::keyClicks(cell, text);
  }

  // Answers the next question with one of its buttons, or closes it where there is no such button.
  void AnswerNext(const QString& button) {
    QTimer::singleShot(20, &dialog, [this, button] {
      if (!dialog.isVisible()) return AnswerNext(button);
      QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
      EXPECT_EQ(dialog.focusWidget()->objectName(), "Command2") << "the page's order is not that of the box";
      CommitAddressEdit(5, "10.9.9.9");
      asked = dialog.windowTitle() + ": " + dialog.findChild<QLabel*>()->text();
      auto* const pressed = dialog.findChild<QAbstractButton*>(button);
      pressed != nullptr ? pressed->click() : dialog.reject();
    });
  }

  QString asked;
};

TEST_F(Table, ShowsTheListAndItsShares) {
  MarkResponded("10.1.0.1");
  ServerEnabled[1] = 1;
  DecimalSeparator = ',';
  MakeListView();
  EXPECT_EQ(Row(0), "[x] 10.1.0.1, first, 33,3%, This Nameservers is working!");
  DecimalSeparator = '.';
  EXPECT_EQ(Row(1), "[ ] 10.1.0.2, second, 66,7%, off") << "only -1 counts as enabled";
  ResetServerStatistics();
  EXPECT_EQ(Row(0), "[x] 10.1.0.1, first, 0%, No answer yet from Nameserver");
}

TEST_F(Table, ATypedAddressMakesARowAndAnEmptiedOneClearsIt) {
  EXPECT_EQ(Row(2), "[ ] , , 0%, fixed, off, grey");
  Type(Address(2), "10.1.0.3");
  QTest::keyClick(Address(2), Qt::Key_Return);
  EXPECT_EQ(form.focusWidget(), Cell("Desc", 2)) << "which is in use by now";
  EXPECT_EQ(Row(2), "[x] 10.1.0.3, , 0%, No answer yet from Nameserver");
  EXPECT_EQ(std::pair(ServerAddress[2], ServerListChanged), std::pair(std::string("10.1.0.3"), kTrue));
  EXPECT_EQ(profile.written.size(), 41u) << "the name servers only";
  Cell("Desc", 2)->clear();
  Cell("Desc", 2)->insert(QStringLiteral("\u202A\u00E4\u20AC\u0416"));
  for (const char* pass : {"typed", "shown"}) {
    Cell("Desc", 2)->setFocus();
    QTest::keyClick(Cell("Desc", 2), Qt::Key_Tab);
    EXPECT_EQ(ServerDescription[2], "\u202A\u00E4\u20AC\u0416") << pass;
    MakeListView();
    EXPECT_EQ(Row(2), "[x] 10.1.0.3, \u25AF\u00E4\u20AC\u0416, 0%, No answer yet from Nameserver");
  }
  EXPECT_EQ(Cell("Desc", 2)->cursorPosition(), 0) << "the beginning of a long one is seen";
  EXPECT_EQ(FocusRow, -1);
  Type(Address(0), " 10.1.0.9 ");
  QTest::keyClick(Address(0), Qt::Key_Tab);
  EXPECT_EQ(Row(0), "[x] 10.1.0.9, first, 33.3%, No answer yet from Nameserver");
  profile.written.clear();
  Type(Address(1), "");
  QTest::keyClick(Address(1), Qt::Key_Tab);
  EXPECT_EQ(Row(1), "[ ] , , 0%, fixed, off, grey");
  EXPECT_EQ(ServerAddress[1] + ServerDescription[1], "");
  EXPECT_EQ(std::pair(TotalWinning, ServerWinning[1]), std::pair(std::int16_t{1}, std::int16_t{0}));
  EXPECT_TRUE(boxes.shown.empty() && profile.written.empty());
}

TEST_F(Table, ARefreshLeavesTheRowAloneThatIsTypedIn) {
  Type(Address(0), "10.1.");
  ServerDescription[1] = "new";
  ServerResponded[0] = kTrue;
  MakeListView();
  EXPECT_EQ(Row(1), "[x] 10.1.0.2, new, 66.7%, No answer yet from Nameserver");
  EXPECT_EQ(Cell("Desc", 1)->cursorPosition(), 0) << "the beginning is seen where no one types";
  EXPECT_EQ(Address(0)->cursorPosition(), 5);
  EXPECT_EQ(Row(0), "[x] 10.1., first, 33.3%, This Nameservers is working!");
  for (const Qt::FocusReason reason : {Qt::ActiveWindowFocusReason, Qt::PopupFocusReason, Qt::MenuBarFocusReason}) {
    QFocusEvent away(QEvent::FocusOut, reason);
    QApplication::sendEvent(Address(0), &away);
    QTest::qWait(1);
  }
  EXPECT_EQ(Address(0)->text(), "10.1.") << "who looks elsewhere or opens a menu is still there";
  QTest::keyClick(Address(0), Qt::Key_Escape);
  EXPECT_EQ(Address(0)->text(), "10.1.0.1") << "the stored address comes back";
  EXPECT_TRUE(WindowHidden) << "and the window hears of the key too";
}

TEST_F(Table, AnEditThatTheMouseEndsIsTakenOnceItsButtonIsUp) {
  Type(Address(0), "10.1.0.9");
  QTest::mousePress(form.windowHandle(), Qt::LeftButton, {}, Address(1)->mapTo(&form, QPoint(5, 5)));
  MakeListView();
  EXPECT_EQ(Row(0), "[x] 10.1.0.9, first, 33.3%, No answer yet from Nameserver") << "still typed";
  EXPECT_EQ(ServerAddress[0], "10.1.0.1");
  QTest::mouseRelease(form.windowHandle(), Qt::LeftButton, {}, Address(1)->mapTo(&form, QPoint(5, 5)));
  EXPECT_TRUE(QTest::qWaitFor([] { return ServerAddress[0] == "10.1.0.9"; }));
}

TEST_F(Table, TheCheckBoxSwitchesAndTheLastOneWarns) {
  Click(Box(0));
  EXPECT_EQ(Row(0), "[ ] 10.1.0.1, first, 33.3%, off");
  EXPECT_TRUE(ServerEnabled[0] == kFalse && Address(0)->isEnabled() && boxes.shown.empty());
  Type(Address(0), "10.1.0.9");
  QTest::keyClick(Address(0), Qt::Key_Tab);
  EXPECT_EQ(Row(0), "[ ] 10.1.0.9, first, 33.3%, off") << "only a new row is switched on";
  profile.written.clear();
  boxes.whileOpen = [this] {
    MakeListView();
    Row(1);
  };
  Click(Box(1));
  EXPECT_EQ(boxes.shown.size(), 1u);
  EXPECT_TRUE(ServerEnabled[1] == kFalse && !Box(1)->isChecked()) << "the click is not undone";
  Click(Box(1));
  EXPECT_EQ(Row(1), "[x] 10.1.0.2, second, 66.7%, No answer yet from Nameserver");
  EXPECT_TRUE(ServerEnabled[1] == kTrue && profile.written.empty());
}

TEST_F(Table, AWrongAddressIsAskedAboutAndTheFrameRepeatsTheAnswer) {
  const std::tuple<QString, int, QString> cases[] = {
      {"Command2", 0, "10.1.0.1"}, {"Command1", 1, "10.1.0.256"}, {"", 1, "10.1.0.256"}};
  for (const auto& [button, result, shown] : cases) {
    form.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&form));
    Type(Address(0), "10.1.0.256");
    AnswerNext(button);
    Turn(kLogPage);
    QTest::qWait(1);
    EXPECT_EQ(asked, "Format error: Cannot add '10.1.0.256' to the list of name servers.");
    EXPECT_EQ(CorrectResult, result);
    EXPECT_EQ(Address(0)->text(), shown);
    EXPECT_EQ(CurrentPage, result == 1 ? kServerPage : kLogPage);
    EXPECT_EQ(Address(0)->selectedText(), result == 1 ? shown : "");
    EXPECT_TRUE(result == 0 || form.focusWidget() == Address(0));
    Turn(kServerPage);
  }
  EXPECT_EQ(events.runs, 4);
  EXPECT_EQ(ServerAddress[0] + ServerAddress[5], "10.1.0.1") << "edits that end within the question do nothing";
}

TEST_F(Table, AQuestionShowsItsWholeTextAndFitsOnTheScreen) {
  QImage pictures[3];
  const std::string unbroken(80, 'x');
  const std::string texts[] = {unbroken + "a", unbroken + "b", std::string(1000, '\n')};
  for (int i = 0; i < 3; ++i) {
    QTimer::singleShot(0, &dialog, [&] {
      pictures[i] = dialog.grab({0, 0, dialog.width(), dialog.findChild<QPushButton*>()->y()}).toImage();
      dialog.reject();
    });
    dialog.AskCorrection(texts[i], "title");
  }
  EXPECT_TRUE(pictures[0] != pictures[1]) << "the last letter is cut off";
  EXPECT_LE(pictures[2].height(), dialog.screen()->availableGeometry().height() * 3 / 4);
}

TEST_F(Table, HidingTakesWhatIsTypedAndPastedBreaksAreBlanks) {
  Type(Address(2), "");
  Address(2)->insert("10.1.0.3\r\n");
  ToggleWindow();
  QTest::qWait(1);
  EXPECT_EQ(ServerAddress[2], "10.1.0.3");
  EXPECT_TRUE(WindowHidden && asked.isEmpty());
}

}  // namespace
}  // namespace quenvar
