// The upstream name servers: ten rows that the user fills, enables and resets, and their counters.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/numbers.h"

namespace quenvar {

class CorrectionDialog;
class ServerTableView;

/// Slots of the arrays, and the rows of them that are used.
inline constexpr int kServerSlots = 16;
inline constexpr int kServerRows = 10;

/// Dotted decimal text as it was accepted, at most 15 characters; empty means that the row is not used.
extern std::array<std::string, kServerSlots> ServerAddress;
/// Free text in UTF-8, as typed.
extern std::array<std::string, kServerSlots> ServerDescription;
/// Queries are sent to this row.
extern std::array<Boolean16, kServerSlots> ServerEnabled;
/// Queries that this server was the first to answer.
extern std::array<std::int16_t, kServerSlots> ServerWinning;
/// The server has answered since the start or the last reset. Never saved.
extern std::array<Boolean16, kServerSlots> ServerResponded;
/// All first answers together.
extern std::int16_t TotalWinning;
/// Set after every change of an address or description, and once at start. Nothing here asks for it or clears it: each
/// of these changes brings the table up to date at once (MakeListView), or is one that the table itself has shown.
extern Boolean16 ServerListChanged;

/// The table that shows the rows, and the dialog that asks about a wrong address. Set once at start.
extern ServerTableView* serverTable;
extern CorrectionDialog* correctionDialog;

/// True when the row holds an address that passes ValidateAddress (settings/address.h).
bool IsServerUsable(int row);

/// Raised when editing of a row's address cell ends with `cellText` in it: clears the row, asks for a correction, or
/// takes the address over and saves the list. Calls from inside of a call return at once.
void CommitAddressEdit(int row, const std::string& cellText);

/// Raised when editing of a row's description cell ends.
void CommitDescriptionEdit(int row, const std::string& cellText);

/// Raised when the row's check box was clicked and now is `checked`.
void SetServerEnabled(int row, bool checked);

/// Forgets who answered first and who answered at all.
void ResetServerStatistics();

/// Switches all rows off, for a pending table that has run over.
void DisableAllServers();

/// Counts a first answer for every row with exactly this address. Returns the description of the last of them, or its
/// address where the description is empty; empty when there is none.
std::string CreditWinner(const std::string& serverAddress);

/// Notes for every row with exactly this address that it has answered.
void MarkResponded(const std::string& serverAddress);

/// Ages the rows' counters where needed and brings the table up to date.
void MakeListView();

}  // namespace quenvar
