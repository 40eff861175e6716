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
  /// Empties the status line, and no button looks as if the mouse were over it.
  virtual void ClearStatusLine() {}
  /// Closes every window of the program but this one.
  virtual void UnloadOtherWindows() {}
};

class TrayView {
 public:
  virtual ~TrayView() = default;

  /// The icon with the tip "Quenvar". Where there is no tray, nothing happens until one comes.
  virtual void AddTrayIcon() {}
  /// The tip becomes the first 63 characters of the text.
  virtual void SetToolTip(const std::string& /*text*/) {}
  virtual void RemoveTrayIcon() {}
  /// Whether the user can see it.
  virtual bool IsThere() const { return true; }
};

/// Set once at start.
extern MainWindowView* mainWindow;
extern TrayView* tray;

}  // namespace quenvar
