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

// What comes from a server could name a file or a program of this machine.
void OpenWebPage(const QString& address) {
  const QUrl url = QUrl::fromUserInput(address);
  if (url.scheme() == "http" || url.scheme() == "https") QDesktopServices::openUrl(url);
}

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
  if (event->buttons() == event->button()) move(pos() + kGiveWay);
}

void LinkLabel::mouseReleaseEvent(QMouseEvent* event) {
  if (event->buttons() == Qt::NoButton) move(pos() - kGiveWay);
  if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) clicked_();
}

}  // namespace quenvar
