#pragma once

#include <QAbstractNativeEventFilter>
#include <QDBusServiceWatcher>
#include <QTimer>
#include <cstdint>
#include <functional>

namespace quenvar {

/// Waits for the tray of the desktop, which may start long after the program. Qt asks only once whether there is one on
/// the session bus and believes that answer to its end, so no QSystemTrayIcon may be made before.
class TrayService final : private QAbstractNativeEventFilter {
 public:
  /// `onTray` is called once, from the message loop, as soon as there is a tray: never when none comes.
  explicit TrayService(std::function<void()> onTray);
  ~TrayService() override;

 private:
  void WatchSessionBus();
  void WatchScreen();
  void AskSessionBus();
  void AskScreen();
  void Found();
  bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

  const std::function<void()> onTray_;
  bool found_ = false;
  QTimer ask_;  ///< something has changed: ask again, once for all that has changed by then
  QDBusServiceWatcher bus_;
  std::uint32_t manager_ = 0;    ///< X11 atoms; 0: the screen is not one of X11
  std::uint32_t selection_ = 0;  ///< whoever owns it is the tray
};

}  // namespace quenvar
