// A screen for tests that must see and press the program's boxes.
#pragma once

#include <sys/types.h>

#include <string>

#include "lab.h"

namespace quenvar::lab {

/// An X server of its own, without a window manager. Ends with this object.
class Screen {
 public:
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  /// For StartOptions.
  const std::string& Display() const { return display_; }
  /// Windows on show with exactly this title.
  int Count(const std::string& title) const;
  bool Shows(const std::string& title) const;
  bool Hides(const std::string& title) const;
  /// Gives the window with this title the keyboard and presses a key, named as xdotool names it.
  void Press(const std::string& title, const std::string& key) const;

 private:
  std::string Xdotool(const std::string& arguments) const;

  pid_t server_;
  std::string display_;
};

}  // namespace quenvar::lab
