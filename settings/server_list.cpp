#include "settings/server_list.h"

#include <algorithm>

#include "base/text.h"
#include "platform/event_loop.h"
#include "platform/message_box.h"
#include "platform/platform.h"
#include "settings/address.h"
#include "settings/server_table_view.h"
#include "settings/settings_file.h"
#include "settings/statistics.h"

namespace quenvar {

std::array<std::string, kServerSlots> ServerAddress;
std::array<std::string, kServerSlots> ServerDescription;
std::array<Boolean16, kServerSlots> ServerEnabled{};
std::array<std::int16_t, kServerSlots> ServerWinning{};
std::array<Boolean16, kServerSlots> ServerResponded{};
std::int16_t TotalWinning = 0;
Boolean16 ServerListChanged = kFalse;

namespace {

ServerTableView noTable;
CorrectionDialog noDialog;

// One flag for all rows: the dialog and the yields of an edit end other edits, which must not start over.
bool committingAddress = false;

std::size_t Slot(int row) { return static_cast<std::size_t>(row); }

void ClearRow(int row) {
  const std::size_t slot = Slot(row);
  ServerAddress[slot].clear();
  ServerDescription[slot].clear();
  serverTable->SetDescriptionCell(row, "");
  ServerEnabled[slot] = kFalse;
  AddChecked(TotalWinning, -ServerWinning[slot]);
  ServerWinning[slot] = 0;
  serverTable->SetCheckBox(row, false);
  MakeListView();
  ServerListChanged = kTrue;
}

void OfferCorrection(int row, const std::string& cellText, const std::string& error) {
  if (correctionDialog->AskCorrection("Cannot add '" + cellText + "' to the list of name servers.", error) != 1) {
    serverTable->SetAddressCell(row, ServerAddress[Slot(row)]);
    return;
  }
  platform.events->RunPendingEvents();
  serverTable->TurnToServerPage();
  serverTable->FocusAddressCell(row);
  platform.events->RunPendingEvents();
  serverTable->SelectAddressText(row);
}

void TakeAddress(int row, const std::string& address) {
  const std::size_t slot = Slot(row);
  const bool newRow = ServerEnabled[slot] == kFalse && ServerAddress[slot].empty();
  if (newRow) {
    ServerEnabled[slot] = kTrue;
    serverTable->SetCheckBox(row, true);
  }
  serverTable->SetAddressCell(row, address);
  ServerAddress[slot] = address;
  ServerListChanged = kTrue;
  MakeListView();
  SaveNameServers();
}

bool OtherRowEnabled(int row) {
  for (int other = 0; other < kServerRows; ++other)
    if (other != row && ServerEnabled[Slot(other)] != kFalse) return true;
  return false;
}

}  // namespace

ServerTableView* serverTable = &noTable;
CorrectionDialog* correctionDialog = &noDialog;

bool IsServerUsable(int row) { return ValidateAddress(ServerAddress[Slot(row)]).empty(); }

void CommitAddressEdit(int row, const std::string& cellText) {
  if (committingAddress) return;
  committingAddress = true;
  const std::string address(Trim(cellText));
  if (cellText.empty())
    ClearRow(row);
  else if (const std::string error = ValidateAddress(address); !error.empty())
    OfferCorrection(row, cellText, error);
  else
    TakeAddress(row, address);
  committingAddress = false;
}

void CommitDescriptionEdit(int row, const std::string& cellText) {
  ServerDescription[Slot(row)] = cellText;
  ServerListChanged = kTrue;
}

void SetServerEnabled(int row, bool checked) {
  if (!checked && !OtherRowEnabled(row))
    platform.boxes->Show(
        "Warning: All name servers have been deselected. Unless you enable at least one nameserver, your DNS service "
        "will not work correctly!",
        "No Nameserver?!", BoxIcon::Information, BoxButtons::Ok);
  ServerEnabled[Slot(row)] = checked ? kTrue : kFalse;
  serverTable->ShowRowEnabled(row, checked);
}

void ResetServerStatistics() {
  std::fill_n(ServerResponded.begin(), kServerRows, kFalse);
  std::fill_n(ServerWinning.begin(), kServerRows, std::int16_t{0});
  TotalWinning = 0;
  MakeListView();
}

void DisableAllServers() { std::fill_n(ServerEnabled.begin(), kServerRows, kFalse); }

std::string CreditWinner(const std::string& serverAddress) {
  std::string winner;
  for (std::size_t slot = 0; slot < kServerRows; ++slot) {
    if (ServerAddress[slot] != serverAddress) continue;
    Increment(ServerWinning[slot]);
    Increment(TotalWinning);
    winner = ServerDescription[slot].empty() ? ServerAddress[slot] : ServerDescription[slot];
  }
  return winner;
}

void MarkResponded(const std::string& serverAddress) {
  bool changed = false;
  for (int row = 0; row < kServerRows; ++row) {
    if (ServerAddress[Slot(row)] != serverAddress || ServerResponded[Slot(row)] != kFalse) continue;
    ServerResponded[Slot(row)] = kTrue;
    serverTable->ShowAnswering(row);
    changed = true;
  }
  if (changed) MakeListView();
}

void MakeListView() {
  AgeServerCounters();
  serverTable->RefreshRows();
}

}  // namespace quenvar
