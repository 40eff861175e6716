// The main window and the tray icon, as the start, the end and the hiding of the window need them.
#pragma once

#include <string>

namespace quenvar {

class MainWindowView {
 public:
  virtual ~MainWindowView() = default;

  /// False when there is no such font.
  virtual bool SetFontName(const std::string& /*name*/) { return true; }
  /// Shows the window in front of the others, not minimised.
  virtual void ShowWindow() {}
  virtual void HideWindow() {}
  virtual void SelectFirstTab() {}
  /// Sets up what depends on the current page.
  virtual void TabUpdate() {}
  /// Closes every window of the program but this one.
  virtual void UnloadOtherWindows() {}
};

class TrayView {
 public:
  virtual ~TrayView() = default;

  virtual void AddTrayIcon() {}
  virtual void RemoveTrayIcon() {}
};

/// Set once at start.
extern MainWindowView* mainWindow;
extern TrayView* tray;

}  // namespace quenvar
