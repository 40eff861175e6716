#include "platform/qt/wait_notice.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>

namespace quenvar {

namespace {

constexpr int kMillisecondsBeforeShown = 1000;
constexpr int kMillisecondsBetweenPaints = 50;

}  // namespace

void QtWaitNotice::Working() {
  if (!sinceBegin_.isValid()) sinceBegin_.start();
  if (sinceBegin_.elapsed() < kMillisecondsBeforeShown) return;
  if (!window_) Show();
  if (!sincePainted_.isValid() || sincePainted_.elapsed() >= kMillisecondsBetweenPaints) Paint();
}

void QtWaitNotice::Done() {
  window_.reset();
  sinceBegin_.invalidate();
  sincePainted_.invalidate();
}

bool QtWaitNotice::eventFilter(QObject*, QEvent* event) {
  return event->type() == QEvent::SockAct || event->type() == QEvent::Timer;
}

void QtWaitNotice::Show() {
  window_ = std::make_unique<QLabel>("Quenvar is checking and compacting its answer cache.\nThis may take a moment.");
  window_->setTextFormat(Qt::PlainText);
  window_->setWindowTitle("Quenvar");
  window_->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
  window_->setAttribute(Qt::WA_ShowWithoutActivating);
  window_->setMargin(24);
  window_->adjustSize();
  QRect frame = window_->rect();
  frame.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
  window_->move(frame.topLeft());
  window_->show();
}

// A window is painted when the screen has asked for it, and that comes in as an event. Left out of the message loop,
// sockets and timers stay due and are served after the wait; not every event loop of Qt can leave them out itself.
void QtWaitNotice::Paint() {
  QCoreApplication::instance()->installEventFilter(this);
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers |
                                  QEventLoop::X11ExcludeTimers);
  QCoreApplication::instance()->removeEventFilter(this);
  sincePainted_.start();
}

}  // namespace quenvar
