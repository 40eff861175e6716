#include "ui/parts/keyboard_order.h"

#include <QVariant>

namespace quenvar {

namespace {

constexpr const char* kPageTag = "pageTag";

}  // namespace

void SetPageTag(QWidget* control, std::int16_t page) { control->setProperty(kPageTag, int{page}); }

void SetKeyboardOrder(QWidget* window, std::int16_t page) {
  for (QWidget* const control : window->findChildren<QWidget*>()) {
    if (control->window() != window || control->focusPolicy() == Qt::NoFocus) continue;
    const QVariant tag = control->property(kPageTag);
    const bool reached = tag.isValid() && (tag.toInt() == page || tag.toInt() == kEveryPage);
    control->setFocusPolicy(reached ? Qt::StrongFocus : Qt::ClickFocus);
  }
}

}  // namespace quenvar
