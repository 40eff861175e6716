#include "ui/refresh_timer.h"

#include <algorithm>
#include <utility>

namespace quenvar {

namespace {

constexpr qint64 kFrameMilliseconds = 50;
constexpr qint64 kRestPerWork = 40;
constexpr qint64 kMicrosecondsPerMillisecond = 1000;

}  // namespace

RefreshTimer::RefreshTimer(std::function<void()> redraw) : redraw_(std::move(redraw)) {
  timer_.setSingleShot(true);
  timer_.setInterval(kFrameMilliseconds);
  QObject::connect(&timer_, &QTimer::timeout, [this] { RunNow(); });
}

void RefreshTimer::RunNow() {
  QElapsedTimer work;
  work.start();
  redraw_();
  const qint64 rest = work.nsecsElapsed() / kMicrosecondsPerMillisecond * kRestPerWork / kMicrosecondsPerMillisecond;
  timer_.setInterval(static_cast<int>(std::max(kFrameMilliseconds, rest)));
}

}  // namespace quenvar
