#include "ui/server_table.h"

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
  }

  QLineEdit* Address(int row) { return Find<QLineEdit>(QString("Text(%1)").arg(row)); }
  QLineEdit* Description(int row) { return Find<QLineEdit>(QString("Desc(%1)").arg(row)); }
  QCheckBox* Box(int row) { return Find<QCheckBox>(QString("Check(%1)").arg(row)); }
  QColor DescriptionColor(int row) { return Description(row)->palette().color(QPalette::Base); }
  bool Indicator(int row) { return Find(QString("CheckI(%1)").arg(row))->isVisible(); }

  // The table follows at the pace of the eye.
  void AwaitRefresh() { QTest::qWait(150); }

  // What a user does: a click into the cell, keys, and Tab.
  void Type(QLineEdit* cell, const QString& text) {
    Click(cell);
    cell->selectAll();
    QTest::keyClick(cell, Qt::Key_Delete);
    QTest::keyClicks(cell, text);
  }
  void TypeAndLeave(QLineEdit* cell, const QString& text, int key = Qt::Key_Tab) {
    Type(cell, text);
    QTest::keyClick(cell, static_cast<Qt::Key>(key));
    AwaitRefresh();
  }

  // Answers the next question with one of its buttons, or closes it where there is no such button.
  void AnswerNext(const QString& button) {
    QTimer::singleShot(20, &dialog, [this, button] {
      if (!dialog.isVisible()) return AnswerNext(button);
      QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
      EXPECT_EQ(dialog.focusWidget()->objectName(), "Command2") << "the page's order is not that of the box";
      asked = dialog.windowTitle() + ": " + dialog.findChild<QLabel*>()->text();
      if (auto* const pressed = dialog.findChild<QAbstractButton*>(button))
        pressed->click();
      else
        dialog.close();
    });
  }

  QString asked;
};

TEST_F(Table, ShowsTheListAndItsShares) {
  ServerResponded[1] = kTrue;
  ServerEnabled[1] = 1;
  DecimalSeparator = ',';
  MakeListView();
  AwaitRefresh();
  DecimalSeparator = '.';
  EXPECT_EQ(Find<QLineEdit>("Proz(0)")->text(), "33,3%");
  EXPECT_EQ(Find("CheckI(0)")->toolTip(), "No answer yet from Nameserver");
  EXPECT_EQ(Find("CheckI(1)")->toolTip(), "This Nameservers is working!");
  EXPECT_TRUE(Box(0)->isChecked() && Indicator(0));
  EXPECT_FALSE(Box(1)->isChecked() || Indicator(1)) << "only -1 counts as enabled";
  EXPECT_EQ(DescriptionColor(0), Qt::white);
  EXPECT_NE(DescriptionColor(2), Qt::white);
  EXPECT_TRUE(Box(1)->isEnabled() && Address(2)->isEnabled());
  EXPECT_FALSE(Box(2)->isEnabled() || Description(2)->isEnabled());
  ResetServerStatistics();
  AwaitRefresh();
  EXPECT_EQ(Find<QLineEdit>("Proz(1)")->text(), "0%");
}

TEST_F(Table, ATypedAddressMakesARow) {
  TypeAndLeave(Address(2), "10.1.0.3", Qt::Key_Return);
  EXPECT_EQ(ServerAddress[2], "10.1.0.3");
  EXPECT_TRUE(Box(2)->isChecked() && Box(2)->isEnabled() && Indicator(2) && Description(2)->isEnabled());
  EXPECT_EQ(DescriptionColor(2), Qt::white);
  Type(Description(2), "");
  Description(2)->insert(QStringLiteral("\u00E4\u20AC"));
  QTest::keyClick(Description(2), Qt::Key_Tab);
  EXPECT_EQ(ServerDescription[2], "\xe4\x80");
  EXPECT_EQ(FocusRow, -1);
}

TEST_F(Table, ARefreshLeavesTheRowAloneThatIsTypedIn) {
  Type(Address(0), "10.1.");
  ServerDescription[1] = "new";
  ServerResponded[0] = kTrue;
  MakeListView();
  AwaitRefresh();
  EXPECT_EQ(Address(0)->text(), "10.1.");
  EXPECT_EQ(Description(1)->text(), "new");
  EXPECT_EQ(Find("CheckI(0)")->toolTip(), "This Nameservers is working!");
  QTest::keyClick(Address(0), Qt::Key_Escape);
  EXPECT_EQ(Address(0)->text(), "10.1.0.1") << "the stored address comes back";
  EXPECT_TRUE(WindowHidden) << "and the window hears of the key too";
}

TEST_F(Table, AnEmptiedAddressClearsTheRow) {
  TypeAndLeave(Address(1), "");
  EXPECT_EQ(ServerAddress[1] + ServerDescription[1] + Description(1)->text().toStdString(), "");
  EXPECT_FALSE(Box(1)->isChecked() || Box(1)->isEnabled() || Indicator(1));
  EXPECT_NE(DescriptionColor(1), Qt::white);
  EXPECT_TRUE(TotalWinning == 1 && ServerWinning[1] == 0);
  EXPECT_TRUE(boxes.shown.empty() && profile.written.empty());
}

TEST_F(Table, TheCheckBoxSwitchesAndTheLastOneWarns) {
  Click(Box(0));
  EXPECT_EQ(ServerEnabled[0], kFalse);
  EXPECT_FALSE(Indicator(0) || Description(0)->isEnabled());
  EXPECT_TRUE(Address(0)->isEnabled());
  EXPECT_TRUE(boxes.shown.empty());
  boxes.whileOpen = [this] {
    MakeListView();
    AwaitRefresh();
  };
  Click(Box(1));
  EXPECT_EQ(boxes.shown.size(), 1u);
  EXPECT_TRUE(ServerEnabled[1] == kFalse && !Box(1)->isChecked()) << "the click is not undone";
  Click(Box(1));
  EXPECT_TRUE(ServerEnabled[1] == kTrue && Indicator(1) && profile.written.empty());
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
    Turn(kServerPage);
  }
  EXPECT_EQ(ServerAddress[0], "10.1.0.1");
}

TEST_F(Table, HidingTakesWhatIsTypedAndPastedBreaksAreBlanks) {
  Type(Address(2), "");
  Address(2)->insert("10.1.0.3\r\n");
  ToggleWindow();
  AwaitRefresh();
  EXPECT_EQ(ServerAddress[2], "10.1.0.3");
  EXPECT_TRUE(WindowHidden && asked.isEmpty());
}

TEST_F(Table, LookingElsewhereOrAMenuDoesNotEndAnEdit) {
  Type(Address(0), "10.9.");
  for (const Qt::FocusReason reason : {Qt::ActiveWindowFocusReason, Qt::PopupFocusReason, Qt::MenuBarFocusReason}) {
    QFocusEvent away(QEvent::FocusOut, reason);
    QApplication::sendEvent(Address(0), &away);
    QTest::qWait(1);
  }
  EXPECT_TRUE(asked.isEmpty());
  EXPECT_EQ(Address(0)->text(), "10.9.");
}

}  // namespace
}  // namespace quenvar
