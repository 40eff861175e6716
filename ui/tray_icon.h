#pragma once

#include <QMenu>
#include <QSystemTrayIcon>

#include "engine/main_window_view.h"

namespace quenvar {

/// The icon in the notification area and its menu.
class TrayIcon : public TrayView {
 public:
  explicit TrayIcon(const QIcon& icon);

  void AddTrayIcon() override { icon_.show(); }
  void RemoveTrayIcon() override { icon_.hide(); }

 private:
  QMenu sMenu;
  QSystemTrayIcon icon_;
};

}  // namespace quenvar
