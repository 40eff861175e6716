#include "platform/qt/qt_event_loop.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

namespace quenvar {

namespace {

// How long events may wait for a yield. Asking the kernel whether something is due costs more than what a whole query
// may spend on its eleven yields; reading the clock costs next to nothing.
constexpr std::chrono::microseconds kPatience{250};

}  // namespace

QtEventLoop::QtEventLoop() {
  // A box that a handler shows waits in a loop of its own, amid the batch.
  QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, &context_,
                   [this] { EndBatch(); });
}

int QtEventLoop::Run() { return quit_ ? status_ : QCoreApplication::exec(); }

void QtEventLoop::EndBatch() {
  for (const auto& work : atEndOfBatch_) work();
}

void QtEventLoop::RunPendingEvents() {
  EndBatch();
  QCoreApplication::processEvents();
  Fresh();
}

void QtEventLoop::Yield() {
  if (yielding_ || std::chrono::steady_clock::now() - lastRun_ < kPatience) return;
  yielding_ = true;
  RunPendingEvents();
  yielding_ = false;
}

void QtEventLoop::Quit(int exitStatus) {
  quit_ = true;
  status_ = exitStatus;
  QCoreApplication::exit(exitStatus);
}

}  // namespace quenvar
