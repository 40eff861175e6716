#include "ui/share_bar.h"

#include <QPainter>
#include <algorithm>

namespace quenvar {

ShareBar::ShareBar(QWidget* parent, const QColor& fill) : QFrame(parent), color_(fill) {
  setFrameStyle(QFrame::Panel | QFrame::Sunken);
}

void ShareBar::SetPercent(double share) {
  share = std::clamp(share, 0.0, 100.0);
  if (share == percent_) return;
  percent_ = share;
  update();
}

void ShareBar::paintEvent(QPaintEvent* event) {
  QFrame::paintEvent(event);
  QRect filled = contentsRect();
  filled.setWidth(static_cast<int>(filled.width() * percent_ / 100));
  QPainter(this).fillRect(filled, color_);
}

}  // namespace quenvar
