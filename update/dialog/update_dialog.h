#pragma once

#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "ui/parts/link_label.h"
#include "ui/parts/picture_button.h"
#include "ui/parts/share_bar.h"
#include "update/update_check.h"

namespace quenvar {

/// The dialog of the update check. It asks the server when it comes up, and abandons everything when it is gone.
class Quenvar_UpdateCheck : public QDialog, public UpdateView {
 public:
  explicit Quenvar_UpdateCheck(QWidget* mainForm);
  ~Quenvar_UpdateCheck() override;

  void SetLabel1(const std::string& headline) override;
  void SetStatus(const std::string& text) override;
  void SetLabel4(const std::string& secondLine) override;
  void ShowLink(const std::string& caption, const std::string& address) override;
  void ShowUpdate(const std::string& note, const std::string& releaseNotes) override;
  void OfferClose() override;
  void ShowDownload(const std::string& note) override;
  void ShowProgress(double percent) override;
  void CloseDialog() override { done(0); }

 protected:
  void showEvent(QShowEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  void AddFrame();
  void AddNotes();
  void AddBottom();
  void AddHints();
  void ShowHint(const QString& text);
  void GiveEnterTo(QPushButton* button);
  void PlaceBottom(int top);

  QGroupBox* Frame1 = nullptr;
  QLabel* Label1 = nullptr;
  QLabel* status = nullptr;
  QLabel* Label4 = nullptr;
  QLabel* Label2 = nullptr;
  LinkLabel* Label3 = nullptr;
  QLabel* Label5 = nullptr;
  QPlainTextEdit* Text1 = nullptr;
  PictureButton* b5 = nullptr;
  ShareBar* DProgress = nullptr;
  QPushButton* SSCommand2 = nullptr;
  QPushButton* SSCommand1 = nullptr;
  QFrame* Line1 = nullptr;
  QLabel* uStat = nullptr;
};

}  // namespace quenvar
