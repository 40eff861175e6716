#include "engine/program/main_window_view.h"

namespace quenvar {

namespace {

MainWindowView noWindow;
TrayView noTray;

}  // namespace

MainWindowView* mainWindow = &noWindow;
TrayView* tray = &noTray;

}  // namespace quenvar
