#include "engine/program/window_state.h"

#include <utility>

#include "engine/log/event_log.h"
#include "engine/program/main_window_view.h"
#include "platform/desktop.h"
#include "platform/platform.h"

namespace quenvar {

std::int16_t CurrentPage = kSystemPage;
std::int16_t SavedPage = kSystemPage;
bool WindowHidden = false;
bool WindowWasShown = false;

namespace {

bool hidingExplained = false;

// The user would take the program for ended. He is told once a run.
void ExplainHidingWithoutTray() {
  if (tray->IsThere() || std::exchange(hidingExplained, true)) return;
  platform.desktop->Notify("Quenvar goes on. Start it once more to see its window.");
}

void NoteWindowShown() {
  WindowWasShown = true;
  ShowFailuresInLogOnly();
}

void RememberHidden() {
  SavedPage = CurrentPage;
  CurrentPage = kNoPage;
  WindowHidden = true;
}

}  // namespace

void SetCurrentPage(std::int16_t page) { CurrentPage = page; }

void ShowWindowAtStart() {
  NoteWindowShown();
  mainWindow->ShowWindow();
}

void StayHiddenAtStart() { RememberHidden(); }

void ToggleWindow() {
  if (!WindowHidden) {
    RememberHidden();
    mainWindow->HideWindow();
    ExplainHidingWithoutTray();
    return;
  }
  WindowHidden = false;
  NoteWindowShown();
  CurrentPage = SavedPage;
  mainWindow->ShowWindow();
  mainWindow->TabUpdate();
}

void ShowMainWindow() {
  const bool started = WindowHidden || WindowWasShown;
  if (!started) return;
  if (WindowHidden) ToggleWindow();
  mainWindow->ShowWindow();
}

}  // namespace quenvar
