#pragma once

#include <QDialog>
#include <QScrollArea>

#include "settings/server_table_view.h"

namespace quenvar {

class WrappedLabel;

/// What the last question was about, and its answer: 1 to correct, 0 to cancel.
extern std::string CorrectMessage;
extern std::string CorrectTitle;
extern std::int16_t CorrectResult;

/// The question whether an address that cannot be taken is to be corrected.
class Quenvar_Correct : public QDialog, public CorrectionDialog {
 public:
  explicit Quenvar_Correct(QWidget* mainForm);

  /// Closing the box by its frame leaves the answer of the time before; that is intended.
  std::int16_t AskCorrection(const std::string& message, const std::string& title) override;

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void AddButton(const QString& name, const QString& caption, std::int16_t result);
  void ShowMessage();
  void Answer(std::int16_t result);

  QScrollArea* page_;
  WrappedLabel* Label1;
};

}  // namespace quenvar
