#pragma once

#include <QPointer>
#include <QWidget>
#include <map>
#include <utility>

#include "platform/message_box.h"

class QMessageBox;

namespace quenvar {

/// Message boxes of Qt. Their texts are plain text, whatever they contain.
class QtMessageBoxes final : public MessageBoxes {
 public:
  /// The window that the boxes belong to while it is on show. A dialog that is open belongs to it too, and then has the
  /// boxes.
  void SetMainWindow(QWidget* window) { mainWindow_ = window; }
  BoxAnswer Show(const std::string& text, const std::string& title, BoxIcon icon, BoxButtons buttons) override;
  void Withdraw(const std::string& title) override;

 private:
  QWidget* Owner() const;

  QPointer<QWidget> mainWindow_;
  /// By title and text.
  std::map<std::pair<std::string, std::string>, QMessageBox*> open_;
};

}  // namespace quenvar
