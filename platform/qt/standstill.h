#pragma once

#include <QTimer>
#include <functional>

namespace quenvar {

/// Looks every second whether a connection still moves, and gives it up after ten looks in a row that saw nothing.
class Standstill {
 public:
  /// `hasMoved`: whether anything has moved since it was last asked. `giveUp` may destroy this object.
  Standstill(std::function<bool()> hasMoved, std::function<void()> giveUp);

  /// Nothing when it is looking already.
  void Start();
  void Stop() { look_.stop(); }

 private:
  void Look();

  std::function<bool()> hasMoved_;
  std::function<void()> giveUp_;
  int stillLooks_ = 0;
  QTimer look_;
};

}  // namespace quenvar
