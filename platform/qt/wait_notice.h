// The wait notice as a small window. It paints itself while nothing runs the message loop.
#pragma once

#include <QElapsedTimer>
#include <QLabel>
#include <QObject>
#include <memory>

#include "platform/wait_notice.h"

namespace quenvar {

class QtWaitNotice : public QObject, public WaitNotice {
 public:
  void Working() override;
  void Done() override;

 protected:
  /// While the notice paints itself, keeps from everything else in the program that sockets and timers are due.
  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  void Show();
  void Paint();

  QElapsedTimer sinceBegin_;
  QElapsedTimer sincePainted_;
  std::unique_ptr<QLabel> window_;
};

}  // namespace quenvar
