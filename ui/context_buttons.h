#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "ui/parts/picture_button.h"

namespace quenvar {

/// The seven buttons b1 to b7 below the pages. What the first ones do depends on the page.
class ContextButtonBar {
 public:
  /// `openUpdate` opens the dialog of the update check; `afterAction` is called after every action of a button.
  ContextButtonBar(QWidget* client, std::function<void()> openUpdate, const std::function<void()>& afterAction);

  void ShowFor(std::int16_t page);

 private:
  /// From the one with the number `first` on.
  void HideContextButtons(int first);
  PictureButton& Button(int number) { return *buttons_[static_cast<std::size_t>(number - 1)]; }

  std::array<PictureButton*, 7> buttons_;
  std::function<void()> openUpdate_;
};

}  // namespace quenvar
