#include "ui/link_label.h"

#include <QDesktopServices>
#include <QMouseEvent>
#include <QUrl>
#include <utility>

#include "ui/layout.h"

namespace quenvar {

namespace {

const QPoint kGiveWay(Pixels(20), Pixels(20));

}  // namespace

void OpenWebPage(const QString& address) { QDesktopServices::openUrl(QUrl::fromUserInput(address)); }

LinkLabel::LinkLabel(QWidget* parent, std::function<void()> clicked) : QLabel(parent), clicked_(std::move(clicked)) {
  setTextFormat(Qt::PlainText);
  setCursor(Qt::PointingHandCursor);
  QPalette colors = palette();
  colors.setColor(QPalette::WindowText, Qt::blue);
  setPalette(colors);
  QFont underlined = font();
  underlined.setUnderline(true);
  setFont(underlined);
}

void LinkLabel::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) move(pos() + kGiveWay);
}

void LinkLabel::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  move(pos() - kGiveWay);
  if (rect().contains(event->position().toPoint())) clicked_();
}

}  // namespace quenvar
