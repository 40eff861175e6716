#pragma once

#include <QTimer>

#include "platform/timer.h"

namespace quenvar {

class QtTimer final : public Timer {
 public:
  explicit QtTimer(void (*onTick)()) { QObject::connect(&timer_, &QTimer::timeout, onTick); }

  void SetIntervalMilliseconds(int milliseconds) override { timer_.setInterval(milliseconds); }
  void Restart() override { timer_.start(); }
  void Stop() override { timer_.stop(); }

 private:
  QTimer timer_;
};

}  // namespace quenvar
