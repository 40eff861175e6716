// The rules for clients that keep their connections for the next question (RFC 7766): no client ends the program, and
// connections that nobody uses are closed.
#pragma once

#include <cstdint>
#include <vector>

#include "tcp/connection_rules.h"

namespace quenvar {

class LastingRules final : public ConnectionRules {
 public:
  /// The enabled row with the most first answers among those that have not refused this client.
  int ChooseServer(std::int16_t slot) override;
  /// The client's connection is closed.
  void OnNoServer(std::int16_t slot) override;
  /// What comes between the name server's end and the client's is dropped.
  void OnDataWithoutSlot() override {}
  void OnClientGone(std::int16_t slot, int error) override;
  /// A server that could not be reached is followed by the next one. In the end the client's connection is closed too,
  /// when all that has come is sent.
  void OnServerGone(std::int16_t slot, int error) override;
  /// Closes the connection that has been idle for longest (RFC 7766, section 6.2.3), never one that moves bytes.
  bool MakeRoom() override;
  /// Closes connections on which nothing has moved for two minutes.
  void Tick() override;

 private:
  /// What is known of the client that a slot serves.
  struct Client {
    std::int16_t connection = 0;
    std::uint16_t triedRows = 0;  ///< as bits
    bool closedSending = false;
    bool gone = false;
    std::uint64_t moved = 0;
    std::int32_t movedAt = 0;  ///< millisecond tick at which `moved` was seen to change
  };

  Client& ClientOf(std::int16_t slot);
  /// How long nothing has moved, as far as it was looked at.
  std::int32_t IdleMilliseconds(std::int16_t slot);

  std::vector<Client> clients_;
};

}  // namespace quenvar
