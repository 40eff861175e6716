#pragma once

#include <QFrame>

namespace quenvar {

/// A sunken panel that is filled from the left by a share of 0 to 100 percent.
class ShareBar : public QFrame {
 public:
  ShareBar(QWidget* parent, const QColor& fill);

  void SetPercent(double share);
  int WholePercent() const { return static_cast<int>(percent_); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  const QColor color_;
  double percent_ = 0;
};

}  // namespace quenvar
