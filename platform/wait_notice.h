// Tells the user what the program waits for while it is too busy to show its window.
#pragma once

namespace quenvar {

class WaitNotice {
 public:
  virtual ~WaitNotice() = default;

  /// Called over and over while the program is busy. The first call starts the clock; once a second has passed, the
  /// notice is on the screen. Serves no socket and no timer.
  virtual void Working() = 0;
  /// The wait is over: takes the notice from the screen.
  virtual void Done() = 0;
};

}  // namespace quenvar
