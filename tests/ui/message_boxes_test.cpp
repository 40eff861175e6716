// Every box of the program, on the screen.
#include <QMessageBox>
#include <QTimer>

#include "cache/answer_cache.h"
#include "platform/qt/qt_message_boxes.h"
#include "platform/udp_port.h"
#include "tests/ui/window_fixture.h"

namespace quenvar {
namespace {

class Boxes : public WindowTest {
 protected:
  Boxes() { platform.boxes = &real; }

  // Whatever box comes up next is read and then answered with Cancel, or OK where there is no other button.
  void ReadNext() {
    QTimer::singleShot(0, &form, [this] {
      const auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      if (box == nullptr) return;
      title = box->windowTitle().toStdString();
      text = box->text().toStdString();
      icon = box->icon();
      buttons = box->standardButtons();
      EXPECT_EQ(box->textFormat(), Qt::PlainText);
      box->button(buttons.testFlag(QMessageBox::Cancel) ? QMessageBox::Cancel : QMessageBox::Ok)->click();
    });
  }

  QtMessageBoxes real;
  std::string title, text;
  QMessageBox::Icon icon{};
  QMessageBox::StandardButtons buttons;
};

struct NoFont : MainWindowView {
  bool SetFontName(const std::string&) override { return false; }
};

TEST_F(Boxes, SayWhatTheyAreMadeToSay) {
  NoFont noFont;
  struct Case {
    std::function<void()> provoke;
    std::string title, text;
    QMessageBox::Icon icon;
    bool question = false;
  };
  const Case cases[] = {
      {[] { ConfirmAndQuit(); }, "QUIT",
       "Are you sure you want to exit?\n\rThis will disable your DNS system and your Internet access may not work!",
       QMessageBox::Question, true},
      {[] { ConfirmAndDeleteCache(); }, "Confirm", "Are you sure? All entries will be lost!", QMessageBox::Question,
       true},
      {[] { SetServerEnabled(0, false); }, "No Nameserver?!",
       "Warning: All name servers have been deselected. Unless you enable at least one nameserver, your DNS service "
       "will not work correctly!",
       QMessageBox::Information},
      {[] {
         for (int i = 0; i <= kPendingSlots; ++i) AddPending(MakeRequest("name", "10.0.0.9", 1));
       },
       "Critical Error!",
       "The amount of pending DNS requests exceeds the system capacaty. Please make sure that you did not declare your "
       "own host as a name server! All DNS servers have been disabled. Please check and reconfigre youe name servers!",
       QMessageBox::Critical},
      {[this] {
         downstream.bindError = kErrorAddressInUse;
         Startup();
       },
       "Error", "Your localport 53 (DNS) is already in use! Make sure that no other application is using this port.",
       QMessageBox::Warning},
      {[&noFont] {
         mainWindow = &noFont;
         Startup();
       },
       "Quenvar", "Initialisation error, did you restart your system after you installed Quenvar?",
       QMessageBox::Critical},
  };
  for (const Case& expected : cases) {
    title.clear();
    ReadNext();
    expected.provoke();
    EXPECT_EQ(title, expected.title);
    EXPECT_EQ(text, expected.text);
    EXPECT_EQ(icon, expected.icon) << title;
    const auto okOrCancel = QMessageBox::Ok | QMessageBox::Cancel;
    EXPECT_EQ(buttons, expected.question ? okOrCancel : QMessageBox::StandardButtons(QMessageBox::Ok)) << title;
  }
}

TEST_F(Boxes, ABoxThatIsOpenIsNotOpenedAgain) {
  QTimer::singleShot(0, &form, [this] {
    EXPECT_EQ(real.Show("text", "title", BoxIcon::Critical, BoxButtons::Ok), BoxAnswer::Cancel);
    qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->button(QMessageBox::Ok)->click();
  });
  EXPECT_EQ(real.Show("text", "title", BoxIcon::Critical, BoxButtons::Ok), BoxAnswer::Ok);
}

}  // namespace
}  // namespace quenvar
