#pragma once

#include <cstdint>
#include <string>

namespace quenvar {

/// The table of name servers on the screen. Rows are 0 to 9.
class ServerTableView {
 public:
  virtual ~ServerTableView() = default;

  /// Builds the ten rows, once at start.
  virtual void MakeTabelle() {}
  /// Something in the list has changed: shows all rows anew.
  virtual void RefreshRows() {}

  virtual void SetAddressCell(int /*row*/, const std::string& /*text*/) {}
  virtual void SetDescriptionCell(int /*row*/, const std::string& /*text*/) {}
  virtual void SetCheckBox(int /*row*/, bool /*ticked*/) {}
  /// Shows the row's description and share, and its indicator, as in use or not. The address stays editable.
  virtual void ShowRowEnabled(int /*row*/, bool /*enabled*/) {}
  /// Switches the row's indicator to its answering state.
  virtual void ShowAnswering(int /*row*/) {}
  /// Turns to the server page unless it is shown already.
  virtual void TurnToServerPage() {}
  virtual void FocusAddressCell(int /*row*/) {}
  virtual void SelectAddressText(int /*row*/) {}
};

/// The box that offers to correct an address that cannot be taken.
class CorrectionDialog {
 public:
  virtual ~CorrectionDialog() = default;

  /// Shows message and title and waits for the answer: 1 means correct, any other value means no.
  virtual std::int16_t AskCorrection(const std::string& /*message*/, const std::string& /*title*/) { return 0; }
};

}  // namespace quenvar
