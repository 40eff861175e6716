#pragma once

#include <QGroupBox>

namespace quenvar {

/// The content of the about page.
class AboutFrame : public QGroupBox {
 public:
  explicit AboutFrame(QWidget* parent);

 private:
  void AddLogo();
  void AddLink();
};

/// Opens the maker's web page in the desktop's browser.
void OpenMakersPage();

}  // namespace quenvar
