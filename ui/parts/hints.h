// The status line of the main window: a sentence about the control under the mouse.
#pragma once

#include <QLabel>
#include <QString>
#include <QWidget>
#include <functional>

namespace quenvar {

/// The text that was last written to the status line.
extern QString LastHint;

/// Set once at start: the label that is the status line.
void UseStatusLine(QLabel* line);

/// Shows what belongs to a key: the name of a button stands for what it does on the current page, the name of a window
/// for nothing, and every other key is the hint itself.
void ShowStatusHint(const QString& key);

/// Shows what belongs to the control's name, unless its window is minimised.
void ShowControlHint(const QWidget* control);

/// The control calls `show` whenever the mouse moves over it. Nothing behind it hears of that movement.
void SetHint(QWidget* control, std::function<void()> show);
void SetHint(QWidget* control, const QString& hint);

/// Lets all controls of a window hear of the mouse when no button of it is pressed. Once, when all are made.
void WatchMouse(QWidget* window);

}  // namespace quenvar
