#include "ui/tray_icon.h"

#include "engine/shutdown.h"
#include "engine/window_state.h"

namespace quenvar {

namespace {

void ShowIfHidden() {
  if (WindowHidden) ToggleWindow();
}

void HideIfShown() {
  if (!WindowHidden) ToggleWindow();
}

}  // namespace

TrayIcon::TrayIcon(const QIcon& icon) : sMenu("Menu"), icon_(icon) {
  QObject::connect(sMenu.addAction("&Show"), &QAction::triggered, &ShowIfHidden);
  QObject::connect(sMenu.addAction("&Hide"), &QAction::triggered, &HideIfShown);
  QObject::connect(sMenu.addAction("&Quit"), &QAction::triggered, &ConfirmAndQuit);
  icon_.setToolTip("Quenvar");
  icon_.setContextMenu(&sMenu);
  QObject::connect(&icon_, &QSystemTrayIcon::activated, [](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) ShowIfHidden();
  });
}

}  // namespace quenvar
