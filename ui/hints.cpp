#include "ui/hints.h"

#include <QMouseEvent>
#include <utility>

#include "engine/window_state.h"

namespace quenvar {

QString LastHint;

namespace {

QLabel* statusLine = nullptr;

QString HintOfB1() {
  switch (CurrentPage) {
    case kSystemPage:
      return "Clear cache statistics";
    case kServerPage:
      return "Reset name server statistics";
    case kLogPage:
      return "Clear the log window";
    case kAboutPage:
      return "Check for Quenvar updates";
    default:
      return "";
  }
}

QString HintOfButton(const QString& name) {
  if (name == "b1") return HintOfB1();
  if (name == "b2" && CurrentPage == kSystemPage) return "Delete all entrys from cache";
  if (name == "b5") return "Open help system";
  if (name == "b6") return "Hide this window";
  if (name == "b7") return "Exit program";
  return "";
}

class MouseFilter : public QObject {
 public:
  MouseFilter(QWidget* control, std::function<void()> show) : QObject(control), show_(std::move(show)) {
    control->installEventFilter(this);
  }

  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::MouseMove) return false;
    show_();
    return static_cast<QMouseEvent*>(event)->buttons() == Qt::NoButton;
  }

 private:
  std::function<void()> show_;
};

}  // namespace

void UseStatusLine(QLabel* line) {
  statusLine = line;
  LastHint = line->text();
}

void ShowStatusHint(const QString& key) {
  QString text = HintOfButton(key);
  if (text.isEmpty() && !key.startsWith("Quenvar_")) text = key;
  if (text == LastHint) return;
  LastHint = text;
  statusLine->setText(text);
}

void ShowControlHint(const QWidget* control) {
  if (!control->window()->isMinimized()) ShowStatusHint(control->objectName());
}

void SetHint(QWidget* control, std::function<void()> show) { new MouseFilter(control, std::move(show)); }

void SetHint(QWidget* control, const QString& hint) {
  SetHint(control, [hint] { ShowStatusHint(hint); });
}

void WatchMouse(QWidget* window) {
  window->setMouseTracking(true);
  for (QWidget* const control : window->findChildren<QWidget*>()) control->setMouseTracking(true);
}

}  // namespace quenvar
