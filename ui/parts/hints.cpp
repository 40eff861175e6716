#include "ui/parts/hints.h"

#include <QMouseEvent>
#include <QPointer>
#include <utility>

#include "engine/program/window_state.h"

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

  bool eventFilter(QObject* control, QEvent* event) override {
    if (event->type() != QEvent::MouseMove) return false;
    const auto* const move = static_cast<QMouseEvent*>(event);
    if (!Climbed(control, *move)) show_();
    return move->buttons() == Qt::NoButton;
  }

 private:
  // With a button held down, the control has to see the movement, and what it does not want goes on to its parents.
  static bool Climbed(QObject* control, const QMouseEvent& move) {
    const std::pair now(move.timestamp(), move.globalPosition());
    if (now == lastMove && lastControl && static_cast<QWidget*>(control)->isAncestorOf(lastControl)) return true;
    lastMove = now;
    lastControl = static_cast<QWidget*>(control);
    return false;
  }

  static inline std::pair<quint64, QPointF> lastMove;
  static inline QPointer<QWidget> lastControl;
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
