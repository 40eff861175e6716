#include "ui/parts/fixed_size.h"

#include <QEvent>
#include <QGuiApplication>
#include <QLayout>

namespace quenvar {

namespace {

constexpr const char* kKeeperName = "size keeper";

// Qt cuts what the compositor asks for to the maximum size of the window, so there is none; a window that somebody has
// drawn larger goes back.
class SizeKeeper : public QObject {
 public:
  using QObject::QObject;

 protected:
  bool eventFilter(QObject* object, QEvent* event) override {
    auto* const window = static_cast<QWidget*>(object);
    const bool mayHaveChanged = event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest;
    if (mayHaveChanged && (window->windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen)) == 0)
      window->resize(window->minimumSize());
    return false;
  }
};

bool IsWayland() { return QGuiApplication::platformName().startsWith("wayland"); }

void KeepSize(QWidget* window) {
  if (window->findChild<QObject*>(kKeeperName) != nullptr) return;
  auto* const keeper = new SizeKeeper(window);
  keeper->setObjectName(kKeeperName);
  window->installEventFilter(keeper);
}

}  // namespace

void FixSizeByLayout(QWidget* window) {
  window->layout()->setSizeConstraint(IsWayland() ? QLayout::SetMinimumSize : QLayout::SetFixedSize);
  if (IsWayland()) KeepSize(window);
}

void FixSize(QWidget* window, const QSize& size) {
  if (!IsWayland()) return window->setFixedSize(size);
  window->setMinimumSize(size);
  KeepSize(window);
  window->resize(size);
}

}  // namespace quenvar
