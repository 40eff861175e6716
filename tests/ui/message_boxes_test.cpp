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
  // The buttons stand as on a GNOME desktop, Cancel first.
  Boxes() {
    platform.boxes = &real;
    real.SetMainWindow(&form);
    application.setStyleSheet("QDialogButtonBox { button-layout: 3 }");
  }

  // Whatever box comes up next is read and then answered with its last button.
  void ReadNext() {
    QTimer::singleShot(0, &form, [this] {
      const auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      shown = box->windowTitle().toStdString() + ": " + box->text().toStdString();
      icon = box->icon();
      EXPECT_EQ(box->textFormat(), Qt::PlainText);
      owner = box->parentWidget();
      EXPECT_EQ(box->focusWidget(), box->button(QMessageBox::Ok));
      EXPECT_EQ(box->buttons().size(), icon == QMessageBox::Question ? 2 : 1);
      box->buttons().back()->click();
    });
  }

  QtMessageBoxes real;
  std::string shown;
  const QWidget* owner = nullptr;
  QMessageBox::Icon icon{};
};

TEST_F(Boxes, SayWhatTheyAreMadeToSay) {
  const std::tuple<std::function<void()>, QMessageBox::Icon, std::string> cases[] = {
      {&ConfirmAndQuit, QMessageBox::Question,
       "QUIT: Are you sure you want to exit?\nThis will disable your DNS system and your Internet access may not "
       "work!"},
      {&ConfirmAndDeleteCache, QMessageBox::Question, "Confirm: Are you sure? All entries will be lost!"},
      {[] { SetServerEnabled(0, false); }, QMessageBox::Information,
       "No Nameserver?!: Warning: All name servers have been deselected. Unless you enable at least one nameserver, "
       "your DNS service will not work correctly!"},
      {[] {
         for (int i = 0; i <= kPendingSlots; ++i) AddPending(MakeRequest("name", "10.0.0.9", 1));
       },
       QMessageBox::Critical,
       "Critical Error!: The amount of pending DNS requests exceeds the system capacaty. Please make sure that you did "
       "not declare your own host as a name server! All DNS servers have been disabled. Please check and reconfigre "
       "youe name servers!"},
      {[this] {
         window.missingFont = "Tahoma";
         mainWindow = &window;
         Startup();
         mainWindow = &form;
       },
       QMessageBox::Critical,
       "Quenvar: Initialisation error, did you restart your system after you installed Quenvar?"},
      {[this] {
         downstream.bindError = kErrorAddressInUse;
         Startup();
       },
       QMessageBox::Warning,
       "Error: Your localport 53 (DNS) is already in use! Make sure that no other application is using this port."},
  };
  for (const auto& [provoke, expectedIcon, text] : cases) {
    ReadNext();
    provoke();
    EXPECT_EQ(shown, text);
    EXPECT_EQ(icon, expectedIcon) << text;
    EXPECT_EQ(owner, &form) << text;
  }
}

TEST_F(Boxes, BelongToTheWindowInFrontAndOpenOnce) {
  const auto show = [this] { return real.Show("text", "title", BoxIcon::Critical, BoxButtons::Ok); };
  dialog.setModal(true);
  dialog.show();
  form.hide();
  for (const QWidget* const expected : {static_cast<QWidget*>(&dialog), static_cast<QWidget*>(nullptr)}) {
    QTimer::singleShot(0, &form, [&show] { EXPECT_EQ(show(), BoxAnswer::Cancel) << "while it is open"; });
    ReadNext();
    EXPECT_EQ(show(), BoxAnswer::Ok);
    EXPECT_EQ(owner, expected);
    dialog.hide();
  }
}

}  // namespace
}  // namespace quenvar
