#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
#include <memory>
#include <string>

#include "engine/program/main_window_view.h"
#include "platform/qt/tray_service.h"

namespace quenvar {

/// The icon in the notification area and its menu. The icon is there as soon as the desktop has a tray.
class TrayIcon : public TrayView {
 public:
  /// `ISysTray` is the picture until the tip is changed for the first time; then it is the icon of the windows.
  explicit TrayIcon(const QIcon& ISysTray);

  void AddTrayIcon() override;
  void SetToolTip(const std::string& text) override;
  void RemoveTrayIcon() override;
  bool IsThere() const override;

 private:
  void PutIntoTray();

  QMenu sMenu;
  QIcon picture_;
  QString tip_;
  std::unique_ptr<TrayService> service_;
  std::unique_ptr<QSystemTrayIcon> icon_;
};

}  // namespace quenvar
