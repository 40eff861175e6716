// The slot table of the TCP relay.
#include "platform/platform.h"
#include "platform/tcp.h"
#include "tcp/tcp_relay.h"

namespace quenvar {

std::int16_t SlotUpper = -1;
std::vector<std::int16_t> SlotConnectionId;
std::vector<Boolean16> SlotConnected;
std::vector<std::string> SlotQueue;

namespace {

std::int16_t HighestSlotWith(std::int16_t connection) {
  for (std::int16_t slot = SlotUpper; slot >= 0; --slot) {
    if (SlotConnectionId[static_cast<std::size_t>(slot)] == connection) return slot;
  }
  return -1;
}

/// The listener never holds as many connections as there are slot numbers, so the number stays within 16 bits.
std::int16_t AddSlot() {
  const std::int16_t slot = static_cast<std::int16_t>(SlotUpper + 1);
  const std::size_t size = static_cast<std::size_t>(slot) + 1;
  SlotConnectionId.resize(size, 0);
  SlotConnected.resize(size, kFalse);
  SlotQueue.resize(size);
  if (slot > 0) platform.IPPort->Create(slot);
  SlotUpper = slot;
  return slot;
}

}  // namespace

std::int16_t FindFreeSlot() {
  // Of several free slots the highest is taken; that is intended.
  const std::int16_t found = HighestSlotWith(kFreeSlot);
  return found != -1 ? found : AddSlot();
}

bool AssignSlot(std::int16_t connection) {
  const std::size_t slot = static_cast<std::size_t>(FindFreeSlot());
  SlotConnectionId[slot] = connection;
  SlotConnected[slot] = kFalse;
  SlotQueue[slot] = std::string();
  return true;
}

void FreeSlot(std::int16_t slot) {
  const std::size_t index = static_cast<std::size_t>(slot);
  SlotConnected[index] = kFalse;
  SlotConnectionId[index] = kFreeSlot;
  SlotQueue[index] = std::string();
}

std::int16_t SlotOfConnection(std::int16_t connection) { return HighestSlotWith(connection); }

}  // namespace quenvar
