#pragma once

namespace quenvar {

/// A repeating timer of the message loop. What it calls on each tick is set where it is made.
class Timer {
 public:
  virtual ~Timer() = default;

  virtual void SetIntervalMilliseconds(int milliseconds) = 0;

  /// Starts a whole interval from now on, also when the timer runs already.
  virtual void Restart() = 0;
  virtual void Stop() = 0;
};

}  // namespace quenvar
