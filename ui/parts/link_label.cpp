#include "ui/parts/link_label.h"

#include <QAccessibleWidget>
#include <QDesktopServices>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>
#include <QUrl>

#include "ui/parts/layout.h"

namespace quenvar {

namespace {

const QPoint kGiveWay(Pixels(20), Pixels(20));

/// What a screen reader learns: the text on the screen, and behind it where it leads.
class AccessibleLink : public QAccessibleWidget {
 public:
  explicit AccessibleLink(LinkLabel* link) : QAccessibleWidget(link, QAccessible::Link), link_(*link) {}

  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Name) return link_.text();
    const bool leads = kind == QAccessible::Value || kind == QAccessible::Description;
    return leads ? link_.Address() : QAccessibleWidget::text(kind);
  }
  QStringList actionNames() const override { return QAccessibleWidget::actionNames() << pressAction(); }
  void doAction(const QString& name) override {
    name == pressAction() ? link_.OpenPage() : QAccessibleWidget::doAction(name);
  }

 private:
  const LinkLabel& link_;
};

QAccessibleInterface* MakeAccessible(const QString& /*className*/, QObject* object) {
  auto* const link = dynamic_cast<LinkLabel*>(object);
  return link == nullptr ? nullptr : new AccessibleLink(link);
}

}  // namespace

// What comes from a server could name a file or a program of this machine.
void OpenWebPage(const QString& address) {
  const QUrl url = QUrl::fromUserInput(address);
  if (url.scheme() == "http" || url.scheme() == "https") QDesktopServices::openUrl(url);
}

LinkLabel::LinkLabel(QWidget* parent) : QLabel(parent) {
  QAccessible::installFactory(&MakeAccessible);  // once, however often it is called
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
  if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) OpenPage();
}

void LinkLabel::keyPressEvent(QKeyEvent* event) {
  const int key = event->key();
  if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space) return OpenPage();
  event->ignore();
}

void LinkLabel::paintEvent(QPaintEvent* event) {
  QLabel::paintEvent(event);
  if (!hasFocus()) return;
  QPainter painter(this);
  QStyleOptionFocusRect frame;
  frame.initFrom(this);
  style()->drawPrimitive(QStyle::PE_FrameFocusRect, &frame, &painter, this);
}

}  // namespace quenvar
