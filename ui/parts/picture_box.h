#pragma once

#include <QIcon>
#include <QWidget>

namespace quenvar {

/// Shows a picture in its middle, sharp on every screen.
class PictureBox : public QWidget {
 public:
  /// `side`: of the picture, in pixels.
  PictureBox(QWidget* parent, const QIcon& picture, int side);

  void SetPicture(const QIcon& picture);
  const QIcon& Picture() const { return picture_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QIcon picture_;
  const int side_;
};

}  // namespace quenvar
