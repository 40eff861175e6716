#pragma once

#include <QLabel>

namespace quenvar {

/// Opens a page in the desktop's browser. What is no address of the web is not opened. A failure is not reported.
void OpenWebPage(const QString& address);

/// A text that stands for a page of the web. A click opens the page, and so do Enter and Space where the Tab key
/// reaches the text. It gives way under the mouse button.
class LinkLabel : public QLabel {
 public:
  explicit LinkLabel(QWidget* parent);

  void SetAddress(const QString& address) { address_ = address; }
  const QString& Address() const { return address_; }
  void OpenPage() const { OpenWebPage(address_); }

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QString address_;
};

}  // namespace quenvar
