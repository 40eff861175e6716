// Which controls the Tab key reaches. Every control may carry the number of the page that it lives on.
#pragma once

#include <QWidget>
#include <cstdint>

namespace quenvar {

/// The tag of a control that belongs to every page.
inline constexpr std::int16_t kEveryPage = 99;

void SetPageTag(QWidget* control, std::int16_t page);

/// Lets the Tab key reach the window's controls of a page and of every page. A control without a tag is never reached;
/// that is intended, and leaves the two options to the mouse.
void SetKeyboardOrder(QWidget* window, std::int16_t page);

}  // namespace quenvar
