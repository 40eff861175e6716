#include "ui/pictures.h"

#include <QPainter>
#include <QPixmap>
#include <QPolygonF>

namespace quenvar {

namespace {

/// Pictures are drawn on a square of this size and scaled from there.
constexpr double kCanvas = 32;
constexpr int kIconSizes[] = {16, 22, 24, 32, 48, 64, 128};

const QColor kNavy(0, 0, 128);
const QColor kGreen(0, 192, 0);

// An arrow whose tip is at `tip`, pointing in `direction` (1 to the right, -1 to the left).
void DrawArrow(QPainter& painter, QPointF tip, double direction) {
  const QPointF back(-direction, 0);
  painter.drawPolygon(QPolygonF({tip, tip + back * 9 + QPointF(0, -6), tip + back * 9 + QPointF(0, -2.5),
                                 tip + back * 20 + QPointF(0, -2.5), tip + back * 20 + QPointF(0, 2.5),
                                 tip + back * 9 + QPointF(0, 2.5), tip + back * 9 + QPointF(0, 6)}));
}

QPixmap DrawProgramIcon(int size) {
  QPixmap picture(size, size);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(size / kCanvas, size / kCanvas);
  painter.setPen(Qt::NoPen);
  painter.setBrush(kNavy);
  painter.drawRoundedRect(QRectF(1, 1, 30, 30), 5, 5);
  painter.setBrush(Qt::white);
  DrawArrow(painter, QPointF(27, 10.5), 1);
  painter.setBrush(kGreen);
  DrawArrow(painter, QPointF(5, 21.5), -1);
  return picture;
}

}  // namespace

QIcon ProgramIcon() {
  QIcon icon;
  for (const int size : kIconSizes) icon.addPixmap(DrawProgramIcon(size));
  return icon;
}

}  // namespace quenvar
