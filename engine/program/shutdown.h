// The end of the program.
#pragma once

#include "base/numbers.h"

namespace quenvar {

/// The next unload of the main window ends the program; otherwise it only hides the window.
extern Boolean16 QuitRequested;
/// The user has confirmed to quit.
extern Boolean16 QuitConfirmed;
/// What the process ends with; other than 0 after a failed start.
extern int ExitStatus;

/// Where an unload of the main window comes from.
enum class UnloadMode { ControlMenu = 0, Code = 1, SessionEnd = 2, TaskManager = 3 };

/// The menu entry "&Exit": ends the program without a question.
void RequestQuit();

/// The tray menu's "&Quit" and the quit button: ends the program when the user says so.
void ConfirmAndQuit();

/// The main window is to close: hides it in the tray, or, when that was asked for or the session ends, saves the
/// settings, removes the tray icon, closes the other windows and ends the message loop.
void UnloadMainWindow(UnloadMode mode);

}  // namespace quenvar
