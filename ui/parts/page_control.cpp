#include "ui/parts/page_control.h"

#include <QPainter>
#include <QStyleOptionTabWidgetFrame>

namespace quenvar {

PageControl::PageControl(QWidget* parent) : QWidget(parent), bar_(this) {
  bar_.setAccessibleName("Pages");
  QObject::connect(&bar_, &QTabBar::currentChanged, this, &PageControl::ShowPage);
}

QWidget* PageControl::AddPage(const QString& caption) {
  auto* const page = new QWidget(this);
  page->resize(size());
  page->setVisible(pages_.empty());
  pages_.push_back(page);
  bar_.addTab(caption);
  bar_.raise();
  return page;
}

void PageControl::ShowPage(int shown) {
  for (std::size_t page = 0; page < pages_.size(); ++page) pages_[page]->setVisible(static_cast<int>(page) == shown);
  bar_.raise();
  if (pageChanged_) pageChanged_(shown);
}

// The font is known only now.
void PageControl::showEvent(QShowEvent* event) {
  bar_.adjustSize();
  QWidget::showEvent(event);
}

void PageControl::paintEvent(QPaintEvent*) {
  QStyleOptionTabWidgetFrame frame;
  frame.initFrom(this);
  frame.lineWidth = 1;
  frame.rect.setTop(bar_.height() - 2);
  frame.shape = bar_.shape();
  frame.tabBarSize = bar_.size();
  QPainter painter(this);
  style()->drawPrimitive(QStyle::PE_FrameTabWidget, &frame, &painter, this);
}

}  // namespace quenvar
