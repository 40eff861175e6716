#include "platform/qt/qt_message_boxes.h"

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

}  // namespace

BoxAnswer QtMessageBoxes::Show(const std::string& text, const std::string& title, BoxIcon icon, BoxButtons buttons) {
  const std::pair key(title, text);
  if (!open_.insert(key).second) return BoxAnswer::Cancel;
  QMessageBox box(QtIcon(icon), ToScreen(title), ToScreen(text), QtButtons(buttons));
  box.setTextFormat(Qt::PlainText);
  const int answer = box.exec();
  open_.erase(key);
  return answer == QMessageBox::Ok ? BoxAnswer::Ok : BoxAnswer::Cancel;
}

}  // namespace quenvar
