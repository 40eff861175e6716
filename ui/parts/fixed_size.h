#pragma once

#include <QWidget>

namespace quenvar {

// Windows of one size. Under Wayland they still take the size that the compositor gives them when it maximises them all
// the same: a program that does not is ended by the protocol (xdg-shell, "maximized").

/// Keeps the window at the size that its layout asks for.
void FixSizeByLayout(QWidget* window);

/// Gives the window, which has no layout, this size.
void FixSize(QWidget* window, const QSize& size);

}  // namespace quenvar
