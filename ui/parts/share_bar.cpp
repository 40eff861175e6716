#include "ui/parts/share_bar.h"

#include <QAccessibleWidget>
#include <QPainter>
#include <algorithm>

namespace quenvar {

namespace {

/// What a screen reader knows of a bar.
class SpokenBar : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit SpokenBar(ShareBar* bar) : QAccessibleWidget(bar, QAccessible::ProgressBar), bar_(*bar) {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QVariant currentValue() const override { return bar_.WholePercent(); }
  void setCurrentValue(const QVariant& /*value*/) override {}
  QVariant minimumValue() const override { return 0; }
  QVariant maximumValue() const override { return 100; }
  QVariant minimumStepSize() const override { return 1; }

 private:
  const ShareBar& bar_;
};

QAccessibleInterface* Spoken(const QString& /*className*/, QObject* object) {
  auto* const bar = dynamic_cast<ShareBar*>(object);
  return bar == nullptr ? nullptr : new SpokenBar(bar);
}

}  // namespace

ShareBar::ShareBar(QWidget* parent, const QColor& fill) : QFrame(parent), color_(fill) {
  QAccessible::installFactory(&Spoken);
  setFrameStyle(QFrame::Panel | QFrame::Sunken);
}

void ShareBar::SetPercent(double share) {
  share = std::clamp(share, 0.0, 100.0);
  if (share == percent_) return;
  percent_ = share;
  update();
  QAccessibleValueChangeEvent change(this, WholePercent());
  QAccessible::updateAccessibility(&change);
}

void ShareBar::paintEvent(QPaintEvent* event) {
  QFrame::paintEvent(event);
  QRect filled = contentsRect();
  filled.setWidth(static_cast<int>(filled.width() * percent_ / 100));
  QPainter(this).fillRect(filled, color_);
}

}  // namespace quenvar
