#pragma once

#include <QTabBar>
#include <QWidget>
#include <functional>
#include <vector>

namespace quenvar {

/// Pages behind a row of tabs. A page covers the whole control, tabs included, so that positions on a page are relative
/// to the control.
class PageControl : public QWidget {
 public:
  explicit PageControl(QWidget* parent);

  /// Adds an empty page and returns it.
  QWidget* AddPage(const QString& caption);
  void Select(int page) { bar_.setCurrentIndex(page); }
  /// Called after every change of the page.
  void SetPageChanged(std::function<void(int)> handler) { pageChanged_ = std::move(handler); }

 protected:
  void showEvent(QShowEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  void ShowPage(int shown);

  QTabBar bar_;
  std::vector<QWidget*> pages_;
  std::function<void(int)> pageChanged_;
};

}  // namespace quenvar
