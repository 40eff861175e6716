#include "tcp/connection_rules.h"

#include "engine/relay/query_path.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/tcp.h"
#include "settings/options.h"
#include "tcp/lasting_rules.h"
#include "tcp/tcp_relay.h"

namespace quenvar {

namespace {

ConnectionRules plainRules;
LastingRules lastingRules;

/// An index of -1 ends the program, and it does so on purpose: no name server to choose, or data from a client whose
/// slot is free again.
void SubscriptOutOfRange() { platform.process->EndWithRunTimeError(9, "Subscript out of range"); }

}  // namespace

int ConnectionRules::ChooseServer(std::int16_t /*slot*/) { return BestServer(); }

void ConnectionRules::OnNoServer(std::int16_t /*slot*/) { SubscriptOutOfRange(); }

void ConnectionRules::OnDataWithoutSlot() { SubscriptOutOfRange(); }

void ConnectionRules::OnClientGone(std::int16_t slot, int error) {
  // A client that has only closed its sending side still gets its answer. The slot is freed when IPPort reports its
  // end.
  platform.IPPort->Disconnect(slot, error == 0);
}

void ConnectionRules::OnServerGone(std::int16_t slot, int /*error*/) {
  const std::int16_t connection = SlotConnectionId[static_cast<std::size_t>(slot)];
  FreeSlot(slot);
  // The client's connection is not closed here: that is the client's own doing.
  platform.IPDaemon->Release(connection);
}

ConnectionRules& Rules() { return MatchQuestion != kFalse ? lastingRules : plainRules; }

}  // namespace quenvar
