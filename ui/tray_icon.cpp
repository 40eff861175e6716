#include "ui/tray_icon.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <algorithm>

#include "engine/program/shutdown.h"
#include "engine/program/window_state.h"
#include "platform/qt/screen_text.h"
#include "ui/parts/context_help.h"

namespace quenvar {

namespace {

/// The last of the 64 characters of a tip is its end.
constexpr std::size_t kTipCharacters = 63;
constexpr int kHelpTopic = 10;

void ShowIfHidden() {
  if (WindowHidden) ToggleWindow();
}

void HideIfShown() {
  if (!WindowHidden) ToggleWindow();
}

// The right edge is where the mouse is, as far as the screen has room. Where the desktop draws the menu itself, this
// one stays hidden.
void AlignRight(QMenu& menu) {
  if (!menu.isVisible()) return;
  const int leftmost = menu.screen()->availableGeometry().left();
  menu.move(std::max(leftmost, QCursor::pos().x() - menu.width()), menu.y());
}

}  // namespace

TrayIcon::TrayIcon(const QIcon& ISysTray) : sMenu("Menu"), picture_(ISysTray) {
  SetHelpTopic(&sMenu, kHelpTopic);
  QObject::connect(sMenu.addAction("&Show"), &QAction::triggered, &ShowMainWindow);
  QObject::connect(sMenu.addAction("&Hide"), &QAction::triggered, &HideIfShown);
  // Queued: the desktop that draws the menu waits for an answer to the click, and must not wait for the user's.
  QObject::connect(sMenu.addAction("&Quit"), &QAction::triggered, &sMenu, &ConfirmAndQuit, Qt::QueuedConnection);
  QObject::connect(&sMenu, &QMenu::aboutToShow, [] { mainWindow->ClearStatusLine(); });
}

void TrayIcon::AddTrayIcon() {
  tip_ = "Quenvar";
  service_ = std::make_unique<TrayService>([this] { PutIntoTray(); });
}

void TrayIcon::PutIntoTray() {
  icon_ = std::make_unique<QSystemTrayIcon>(picture_);
  icon_->setToolTip(tip_);
  icon_->setContextMenu(&sMenu);
  QObject::connect(icon_.get(), &QSystemTrayIcon::activated, [this](QSystemTrayIcon::ActivationReason reason) {
    mainWindow->ClearStatusLine();
    if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) ShowIfHidden();
    if (reason == QSystemTrayIcon::Context) AlignRight(sMenu);
  });
  icon_->show();
}

void TrayIcon::SetToolTip(const std::string& text) {
  tip_ = ToScreen(text.substr(0, kTipCharacters));
  picture_ = QApplication::windowIcon();
  if (!icon_) return;
  icon_->setToolTip(tip_);
  icon_->setIcon(picture_);
}

bool TrayIcon::IsThere() const { return icon_ && QSystemTrayIcon::isSystemTrayAvailable(); }

void TrayIcon::RemoveTrayIcon() {
  service_.reset();
  if (icon_) icon_->hide();
}

}  // namespace quenvar
