#include "engine/window_state.h"

#include "engine/main_window_view.h"

namespace quenvar {

std::int16_t CurrentPage = kSystemPage;
std::int16_t SavedPage = kSystemPage;
bool WindowHidden = false;
bool WindowWasShown = false;

namespace {

void RememberHidden() {
  SavedPage = CurrentPage;
  CurrentPage = kNoPage;
  WindowHidden = true;
}

}  // namespace

void SetCurrentPage(std::int16_t page) { CurrentPage = page; }

void ShowWindowAtStart() {
  WindowWasShown = true;
  mainWindow->ShowWindow();
}

void StayHiddenAtStart() { RememberHidden(); }

void ToggleWindow() {
  if (!WindowHidden) {
    RememberHidden();
    mainWindow->HideWindow();
    return;
  }
  WindowHidden = false;
  WindowWasShown = true;
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
