// The queries that were forwarded under an identifier of our own (RFC 5452, section 9.2), by that identifier.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/relay/asked_ports.h"
#include "engine/relay/pending_table.h"

namespace quenvar {

/// Gives the request the port that queries leave from now, and an identifier that no request of the pending table has.
void BeginAsking(PendingRequest& request);

/// The request is about to leave the table: another one may have its identifier.
void EndAsking(const PendingRequest& request);

/// Sends a query, which begins with the identifier of its request, to the server of a row.
void AskServer(std::size_t row, std::string_view query);

/// Whether a request in the table was forwarded, shortly before, with this identifier and the same question as the one
/// that goes by `key`.
bool WasJustForwarded(std::uint16_t identifier, std::string_view key);

/// The rows, as bits, that were asked from `port` with the identifier that `answer`, a whole header at least, begins
/// with. Holds until the identifier is used again, also after the request has left the table.
std::uint16_t RowsAsked(std::string_view answer, AskedPort port);

/// The index of the request that was forwarded from `port` with this identifier, -1 when it is not in the table any
/// more.
int FindAsked(std::string_view answer, AskedPort port);

}  // namespace quenvar
