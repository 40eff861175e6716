#pragma once

#include <QToolButton>
#include <functional>

#include "ui/parts/pictures.h"

namespace quenvar {

/// A square button with a picture above its caption.
class PictureButton : public QToolButton {
 public:
  explicit PictureButton(QWidget* parent);

  void SetUp(const QString& caption, PictureName picture, std::function<void()> action);
  void Act() { action_(); }

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  std::function<void()> action_;
};

}  // namespace quenvar
