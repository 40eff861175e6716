#include "platform/qt/qt_message_boxes.h"

#include <QApplication>
#include <QMessageBox>

#include "platform/qt/screen_text.h"

namespace quenvar {

namespace {

QMessageBox::Icon QtIcon(BoxIcon icon) {
  switch (icon) {
    case BoxIcon::Critical:
      return QMessageBox::Critical;
    case BoxIcon::Question:
      return QMessageBox::Question;
    case BoxIcon::Exclamation:
      return QMessageBox::Warning;
    case BoxIcon::Information:
      return QMessageBox::Information;
  }
  return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons QtButtons(BoxButtons buttons) {
  return buttons == BoxButtons::Ok ? QMessageBox::Ok : QMessageBox::Ok | QMessageBox::Cancel;
}

/// Each of the two characters alone would be drawn, the second one as a blank.
QString Lines(const std::string& text) { return ToScreen(text).replace("\n\r", "\n"); }

}  // namespace

BoxAnswer QtMessageBoxes::Show(const std::string& text, const std::string& title, BoxIcon icon, BoxButtons buttons) {
  const std::pair key(title, text);
  if (open_.contains(key)) return BoxAnswer::Cancel;
  QMessageBox box(QtIcon(icon), ToScreen(title), Lines(text), QtButtons(buttons), Owner());
  box.setTextFormat(Qt::PlainText);
  // Desktops that put Cancel first would give it the focus.
  box.setDefaultButton(QMessageBox::Ok);
  open_[key] = &box;
  const int answer = box.exec();
  open_.erase(key);
  return answer == QMessageBox::Ok ? BoxAnswer::Ok : BoxAnswer::Cancel;
}

void QtMessageBoxes::Withdraw(const std::string& title) {
  for (const auto& [key, box] : open_)
    if (key.first == title) box->done(QMessageBox::Cancel);
}

/// The window in front, so that no other one can cover the box. None where the program shows nothing.
QWidget* QtMessageBoxes::Owner() const {
  if (QWidget* const dialog = QApplication::activeModalWidget()) return dialog;
  return mainWindow_ && mainWindow_->isVisible() ? mainWindow_ : nullptr;
}

}  // namespace quenvar
