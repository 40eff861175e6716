#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <functional>

namespace quenvar {

/// Draws something that changes thousands of times a second often enough for the eye: at most 20 times a second, and
/// less often where drawing is slow, so that it never takes more than a fortieth of the time.
class RefreshTimer {
 public:
  explicit RefreshTimer(std::function<void()> redraw);

  /// Draws soon. Costs next to nothing when that is under way already.
  void Request() {
    if (!timer_.isActive()) timer_.start();
  }

  /// Draws now.
  void RunNow();

 private:
  std::function<void()> redraw_;
  QTimer timer_;
};

}  // namespace quenvar
