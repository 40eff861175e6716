#pragma once

#include <QLabel>
#include <functional>

namespace quenvar {

/// Opens a page in the desktop's browser. What is no address of the web is not opened. A failure is not reported.
void OpenWebPage(const QString& address);

/// A text to click on. It gives way under the mouse button.
class LinkLabel : public QLabel {
 public:
  LinkLabel(QWidget* parent, std::function<void()> clicked);

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  std::function<void()> clicked_;
};

}  // namespace quenvar
