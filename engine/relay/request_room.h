// How a request gets its place in the pending table where clients of today ask: they ask again when no answer comes,
// and a short outage of the name servers fills the table without any loop.
#pragma once

#include "engine/relay/pending_table.h"

namespace quenvar {

/// Enters a request. One that its client has sent before takes the place of the earlier one, and its time, unless it
/// comes from where this host sends. When the table is full, the oldest of those that the cache has answered makes
/// room, or else the oldest of all, which counts as not answered; unless the host asks itself in a loop: then
/// AddPending does what it does with a full table.
void EnterRequest(PendingRequest& request);

/// Whether the waiting requests look like a loop: most of them come back from where this host sends, or carry what it
/// has just sent, or one host asks the same question in ever new queries.
bool LooksLikeLoop();

}  // namespace quenvar
