#pragma once

#include <QTimer>
#include <chrono>
#include <functional>

namespace quenvar {

/// Draws something that changes up to thousands of times a second often enough for the eye: 50 ms after a change, but
/// not more often than drawing may take of the time, which is little. What it has not used, it has for the next
/// changes.
class RefreshTimer {
 public:
  explicit RefreshTimer(std::function<void()> redraw);

  /// Draws soon. Costs next to nothing when that is under way already.
  void Request() {
    if (!timer_.isActive()) Schedule();
  }

 private:
  using Clock = std::chrono::steady_clock;

  void Schedule();
  void Draw();

  std::function<void()> redraw_;
  QTimer timer_;
  Clock::time_point rested_;  ///< when drawing will have had no more than its part of the time
};

}  // namespace quenvar
