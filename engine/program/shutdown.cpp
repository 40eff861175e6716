#include "engine/program/shutdown.h"

#include "engine/program/main_window_view.h"
#include "engine/program/startup.h"
#include "engine/program/window_state.h"
#include "platform/event_loop.h"
#include "platform/message_box.h"
#include "platform/platform.h"
#include "settings/settings_file.h"

namespace quenvar {

Boolean16 QuitRequested = kFalse;
Boolean16 QuitConfirmed = kFalse;
int ExitStatus = 0;

namespace {

// True when the unload of the main window may go on.
bool QueryUnload(UnloadMode mode) {
  if (mode == UnloadMode::SessionEnd || mode == UnloadMode::TaskManager) QuitRequested = kTrue;
  if (QuitRequested == kFalse) {
    if (!WindowHidden) ToggleWindow();
    return false;
  }
  // Counters and servers that were never read would blank the file.
  ReadSettingsOnce();
  SaveAllSettings();
  tray->RemoveTrayIcon();
  mainWindow->UnloadOtherWindows();
  return true;
}

}  // namespace

void RequestQuit() {
  QuitRequested = kTrue;
  UnloadMainWindow(UnloadMode::Code);
}

void ConfirmAndQuit() {
  const BoxAnswer answer = platform.boxes->Show(
      "Are you sure you want to exit?\n\rThis will disable your DNS system and your Internet access may not work!",
      "QUIT", BoxIcon::Question, BoxButtons::OkCancel);
  if (answer != BoxAnswer::Ok) return;
  QuitConfirmed = kTrue;
  RequestQuit();
}

void UnloadMainWindow(UnloadMode mode) {
  if (QueryUnload(mode)) platform.events->Quit(ExitStatus);
}

}  // namespace quenvar
