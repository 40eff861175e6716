// The rules for clients that keep their connections for the next question (RFC 7766): no client ends the program, and
// connections that nobody uses are closed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tcp/connection_rules.h"

namespace quenvar {

class LastingRules final : public ConnectionRules {
 public:
  /// The enabled row with the most first answers among those that this client has not been connected with.
  int ChooseServer(std::int16_t slot) override;
  /// The client's connection is closed.
  void OnNoServer(std::int16_t slot) override;
  void OnClientData(std::int16_t slot, std::string_view data) override;
  void OnServerData(std::int16_t slot) override { KeepNoMore(ClientOf(slot)); }
  /// What comes between the name server's end and the client's is dropped.
  void OnDataWithoutSlot() override {}
  void OnClientGone(std::int16_t slot, int error) override;
  /// A server that could not be reached, or has closed without a word, is followed by the next one, which gets all that
  /// the client has sent. In the end the client's connection is closed too, when all that has come is sent.
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
    bool keepsSent = true;  ///< nothing has come from a server yet
    std::string sent = {};  ///< all that the client has sent, as long as `keepsSent`
    std::uint64_t moved = 0;
    std::int32_t movedAt = 0;  ///< millisecond tick at which `moved` was seen to change
  };

  Client& ClientOf(std::int16_t slot);
  /// Frees the slot, and closes the connection of its client when all that has come is sent.
  void End(std::int16_t slot);
  static void KeepNoMore(Client& client);
  /// The next server can take the place of the one that is gone.
  bool MayTryNext(std::int16_t slot, int error);
  /// How long nothing has moved, as far as it was looked at.
  std::int32_t IdleMilliseconds(std::int16_t slot);

  std::vector<Client> clients_;
};

}  // namespace quenvar
