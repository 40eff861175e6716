#include "ui/parts/picture_button.h"

#include <QKeyEvent>
#include <utility>

namespace quenvar {

namespace {

constexpr int kPictureSide = 32;

}  // namespace

PictureButton::PictureButton(QWidget* parent) : QToolButton(parent) {
  setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
  setIconSize(QSize(kPictureSide, kPictureSide));
}

void PictureButton::SetUp(const QString& caption, PictureName picture, std::function<void()> action) {
  setText(caption);
  setAccessibleName(QString(caption).remove('&'));
  setIcon(Picture(picture));
  action_ = std::move(action);
}

void PictureButton::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) return click();
  QToolButton::keyPressEvent(event);
}

}  // namespace quenvar
