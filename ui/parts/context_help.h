// Help on the window that the user is in: every window has the number of a topic of the help file.
#pragma once

#include <QWidget>

namespace quenvar {

/// Gives a window its topic number, or another one.
void SetHelpTopic(QWidget* window, int topic);

/// Opens the help file at the topic of the active window, or at its contents when there is no such window or it has no
/// topic. A failure is shown by the viewer only.
void ContextHelp();

}  // namespace quenvar
