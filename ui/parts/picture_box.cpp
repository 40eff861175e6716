#include "ui/parts/picture_box.h"

#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QStylePainter>

namespace quenvar {

PictureBox::PictureBox(QWidget* parent, const QIcon& picture, int side)
    : QWidget(parent), picture_(picture), side_(side) {}

void PictureBox::SetPicture(const QIcon& picture) {
  if (picture.cacheKey() == picture_.cacheKey()) return;
  picture_ = picture;
  update();
}

void PictureBox::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  picture_.paint(&painter, QStyle::alignedRect(Qt::LeftToRight, Qt::AlignCenter, QSize(side_, side_), rect()));
  if (!hasFocus()) return;
  QStyleOptionFocusRect focus;
  focus.initFrom(this);
  painter.drawPrimitive(QStyle::PE_FrameFocusRect, focus);
}

}  // namespace quenvar
